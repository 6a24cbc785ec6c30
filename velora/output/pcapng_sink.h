// PcapNgSink: writes records as a pcap-ng capture (velora/output/pcapng_encoder.h), which holds any
// number of link types.
//
// Each interface of each source is an interface of the output. It is described when its source
// describes it, whether or not a packet comes of it, or else before its first packet. A section
// holds 65536 interfaces; when it is full and a packet needs another one, a further section begins,
// which describes what its packets name, and nothing else.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "velora/output/block_writer.h"
#include "velora/output/ledger.h"
#include "velora/output/output_form.h"
#include "velora/output/record_sink.h"
#include "velora/utils/api.h"

namespace velora::output {

class VELORA_API PcapNgSink final : public RecordSink {
 public:
    static constexpr std::uint32_t kMostInterfaces = 65536;  // a section

    // Writes the section header. `names` are those of the sources, in UTF-8: what their interfaces
    // are called; with an empty one, as they are called themselves. What else is borrowed outlives
    // the sink.
    PcapNgSink(BlockWriter& writer, const OutputForm& form, std::vector<std::string> names,
               Ledger& ledger);

    [[nodiscard]] bool Put(const Item& item, std::span<const std::uint8_t> kept) override;
    [[nodiscard]] bool Put(const CarriedBlock& carried) override;
    [[nodiscard]] codec::OutputOutcome Finish() override { return m_Writer.Finish(); }

 private:
    // An interface of a source.
    struct Key {
        std::uint64_t descriptionHash;
        std::uint32_t ordinal;
        std::uint32_t source;
        bool operator==(const Key&) const = default;
    };
    struct HashOfKey {
        std::size_t operator()(const Key& key) const;
    };
    // The interfaces of a source that its records have named lately, and their numbers here.
    struct Named {
        std::uint32_t section = 0;  // counts from 1
        std::uint32_t ordinal = 0;
        std::uint64_t descriptionHash = 0;
        std::uint32_t number = 0;
    };
    using NamedLately = std::array<Named, 4>;

    [[nodiscard]] std::uint32_t NumberOf(std::uint32_t source, const capture::Interface& interface);
    std::uint32_t Describe(std::uint32_t source, const capture::Interface& interface);
    [[nodiscard]] bool BeginSection();

    BlockWriter& m_Writer;
    const std::uint32_t m_SnapLen;
    const std::vector<std::string> m_Names;
    Ledger& m_Ledger;
    std::uint32_t m_Section = 0;
    std::unordered_map<Key, std::uint32_t, HashOfKey> m_Numbers;  // of the section's interfaces
    std::vector<NamedLately> m_NamedLately;
};

}  // namespace velora::output
