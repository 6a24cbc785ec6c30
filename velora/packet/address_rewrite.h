// AddressRewrite: gives the IPv4 packet of a record other addresses, and puts every checksum that
// covers them right.
//
// Changed are the two addresses of the outermost IPv4 header, that header's checksum, and the
// checksum of the TCP, UDP, UDP-Lite or DCCP header behind it; nothing else, and no length. The
// checksums are updated by difference (velora/packet/checksum_update.h), so one that was right
// stays right, one that was wrong stays wrong by the same amount, and a payload that was cut off
// does not matter.
//
// A transport checksum is left as it is where there is none to update:
//   - it was not captured, or only one of its bytes was;
//   - the packet is a later fragment, which has no transport header;
//   - it would lie beyond the total length of the IPv4 header (bytes there are padding of the
//     link), unless that length is 0, as captures of segmentation offload have it;
//   - a UDP or UDP-Lite checksum of 0, which says that there is none.
// It is updated for the source only where the header's destination is but a stop of a source route:
// transport checksums cover the last address of the route (RFC 791, RFC 9293), which stays.
// Other options are stepped over. Also left as they are: frame check sequences of the link, and
// whatever repeats addresses further in (options, ICMP errors, tunnels, application data).
//
// A plain value that points to nothing; one object may serve several threads.
//
// Example, see docs/examples/rewrite_addresses.cpp:
//     if (const auto rewrite = AddressRewrite::Plan(formats::link_type::kEthernet, frame)) {
//         rewrite->Apply(0x0A000001, rewrite->Destination(), frame);  // now from 10.0.0.1
//     }

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "velora/utils/api.h"

namespace velora::packet {

class VELORA_API AddressRewrite {
 public:
    // Looks once at a record: at its captured bytes, any bytes, and its link type, as FindIpv4
    // (velora/packet/ipv4_place.h) takes them. Nothing when that finds no IPv4 header.
    [[nodiscard]] static std::optional<AddressRewrite> Plan(std::uint32_t linkType,
                                                            std::span<const std::uint8_t> captured);

    // The addresses that were captured, as numbers: 192.168.7.2 is 0xC0A80702.
    [[nodiscard]] std::uint32_t Source() const { return m_Source; }
    [[nodiscard]] std::uint32_t Destination() const { return m_Destination; }

    // Writes these addresses, and the checksums that follow, into `packet`: the bytes that were
    // planned for, or a copy of them, all of them. What is written does not depend on what stood in
    // those places, so one packet can be given many pairs of addresses, one after the other.
    void Apply(std::uint32_t source, std::uint32_t destination,
               std::span<std::uint8_t> packet) const;

 private:
    // A transport checksum that covers the addresses.
    struct TransportSum {
        std::size_t at = 0;  // its offset in the packet; 0: there is none to update
        std::uint16_t captured = 0;
        bool isZeroNone = false;         // a computed 0 is written as 0xFFFF
        bool coversDestination = false;  // of the IPv4 header
    };

    AddressRewrite(std::span<const std::uint8_t> captured, std::size_t header);
    static TransportSum FindTransportSum(std::span<const std::uint8_t> captured,
                                         std::size_t header);

    std::size_t m_Header;  // the offset of the IPv4 header
    std::uint32_t m_Source;
    std::uint32_t m_Destination;
    std::uint16_t m_HeaderSum;
    TransportSum m_Transport;
};

}  // namespace velora::packet
