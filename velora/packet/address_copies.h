// AddressCopies: the ten copies of a record that play it into ten further networks. In the copy of
// network n (0 to 9) an address 192.168.a.b is 10.n.a.b, source and destination each for itself,
// and the checksums are put right; what that covers, and what it leaves alone, is told in
// velora/packet/address_rewrite.h. Everything else is as captured.
//
// The record is looked at once, and each copy then costs a few additions and at most twelve bytes
// written:
//     if (const auto copies = AddressCopies::Plan(linkType, record)) {
//         for (std::uint8_t network = 0; network < AddressCopies::kNetworks; ++network) {
//             copies->Apply(network, record);  // one buffer serves for all copies
//             Write(record);
//         }
//     }
// A plain value that points to nothing; one object may serve several threads.

#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "velora/packet/address_rewrite.h"
#include "velora/utils/api.h"

namespace velora::packet {

class VELORA_API AddressCopies {
 public:
    // The copies of a record.
    static constexpr std::uint8_t kNetworks = 10;

    // Nothing when the record gets no copies: when it is no IPv4 packet of a link type that
    // velora/packet/ip_place.h knows, or neither address is in 192.168.0.0/16. Takes any bytes.
    [[nodiscard]] static std::optional<AddressCopies> Plan(std::uint32_t linkType,
                                                           std::span<const std::uint8_t> captured);

    // Makes `copy` the copy of `network`. It holds the bytes that were planned for, all of them;
    // copies of other networks that were made in it before do no harm.
    void Apply(std::uint8_t network, std::span<std::uint8_t> copy) const;

 private:
    explicit AddressCopies(const AddressRewrite& rewrite) : m_Rewrite(rewrite) {}

    AddressRewrite m_Rewrite;
};

}  // namespace velora::packet
