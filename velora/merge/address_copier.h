// AddressCopier: lets every record pass, and each IPv4 packet of 192.168/16 be followed by its ten
// copies (velora/packet/address_copies.h), at the same time.

#pragma once

#include <cstdint>
#include <vector>

#include "velora/output/record_sink.h"
#include "velora/utils/api.h"

namespace velora::merge {

class VELORA_API AddressCopier final : public output::RecordSink {
 public:
    // Borrowed; it outlives the copier.
    explicit AddressCopier(output::RecordSink& next) : m_Next(next) {}

    [[nodiscard]] bool Put(const output::Item& item, std::span<const std::uint8_t> kept) override;
    [[nodiscard]] bool Put(const output::CarriedBlock& carried) override {
        return m_Next.Put(carried);
    }
    [[nodiscard]] codec::OutputOutcome Finish() override { return m_Next.Finish(); }

 private:
    output::RecordSink& m_Next;
    std::vector<std::uint8_t> m_Copy;
};

}  // namespace velora::merge
