// The records of a pcap-ng capture: any number of sections of either byte order, enhanced, simple
// and obsolete packet blocks (velora/formats/pcapng_format.h says where the format is described).
//
// Every other block is stepped over without being held.

#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "velora/capture/framer.h"
#include "velora/capture/pcapng_interfaces.h"
#include "velora/formats/byte_order.h"

namespace velora::capture {

class PcapNgFramer final : public Framer {
 public:
    // With `keepsAllLinkTypes` no record is left out for having another link type than the first;
    // `keepsNames`: interfaces are given out with their names.
    PcapNgFramer(bool keepsAllLinkTypes, bool keepsNames)
        : m_KeepsAllLinkTypes(keepsAllLinkTypes), m_KeepsNames(keepsNames) {}

    [[nodiscard]] Result Frame(RecordBlock& block, const Bytes& bytes) override;
    [[nodiscard]] bool IsInside() const override { return m_ToSkip > 0 || m_SkippedLength > 0; }
    [[nodiscard]] std::uint64_t InsideSince() const override { return m_SkippedSince; }
    [[nodiscard]] const char* InsideWhat() const override;

 private:
    // One block in the hands of the framer.
    struct BlockAt {
        const std::uint8_t* start;
        std::size_t position;  // among the bytes shown
        std::uint32_t type;
        std::uint32_t length;  // as its first length field says
        std::size_t there;     // bytes of it that have been shown; all when not below `length`
    };

    // In the byte order of the section.
    template <typename Number>
    [[nodiscard]] Number Get(const std::uint8_t* place) const {
        return formats::Load<Number>(place, m_IsSwapped);
    }

    // Each of these answers with a fault, or none.
    [[nodiscard]] std::string ReadSectionHeader(const BlockAt& at, RecordBlock& block);
    [[nodiscard]] std::string ReadInterface(const BlockAt& at, RecordBlock& block);
    [[nodiscard]] std::string ReadPacket(const BlockAt& at, RecordBlock& block, const Bytes& bytes);
    [[nodiscard]] std::string ReadSimplePacket(const BlockAt& at, RecordBlock& block,
                                               const Bytes& bytes);
    // What can be said before the whole block is there.
    [[nodiscard]] std::string FaultOfStart(const BlockAt& at) const;
    [[nodiscard]] std::string FaultOfTrailer(const BlockAt& at) const;
    // Goes on with a block that is stepped over. False when more bytes are wanted.
    [[nodiscard]] bool Skip(RecordBlock& block, const Bytes& bytes, std::size_t& position,
                            Result& result);

    struct Option {
        std::uint16_t code;
        std::span<const std::uint8_t> value;
    };
    // What stands between `start`, counted from that of the block, and the second length.
    [[nodiscard]] static std::span<const std::uint8_t> OptionsOf(const BlockAt& at,
                                                                 std::size_t start);
    // Takes the first of them; none at their end, or where one is longer than what is left.
    [[nodiscard]] std::optional<Option> TakeOption(std::span<const std::uint8_t>& options) const;
    void CountOptions(std::span<const std::uint8_t> options, Extras& extras) const;

    void NoteTraits(const Interface& described);
    // Whether the record counts for the output, else it is left out.
    [[nodiscard]] bool Admit(RecordBlock& block, std::uint32_t linkType);

    const bool m_KeepsAllLinkTypes;
    const bool m_KeepsNames;
    bool m_IsSwapped = false;

    PcapNgInterfaces m_Interfaces;

    // A block that is stepped over: what is still to come of it before its second length.
    std::uint64_t m_ToSkip = 0;
    std::uint32_t m_SkippedLength = 0;  // 0: none is being stepped over
    std::uint64_t m_SkippedSince = 0;
};

}  // namespace velora::capture
