// PcapNgInterfaces: the interfaces that a pcap-ng capture describes, section by section, for the
// records that name them by their numbers.
//
// A file may describe thousands of them that no packet names: those that stand one behind the other
// with equal descriptions are kept as one.

#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "velora/capture/record_block.h"
#include "velora/capture/tick_time.h"

namespace velora::capture {

// What an interface description block says, as far as records depend on it. Small, since a section
// may have 65536 different ones.
struct InterfaceDescription {
    // As the length of frame check sequences: it is not told.
    static constexpr std::uint8_t kNoFcsLength = 0xFF;

    std::uint64_t hash = 0;                 // of the whole of it, as Interface has it
    std::int64_t timeOffset = 0;            // seconds
    std::uint32_t snapLen = 0;              // as declared; 0 for none
    std::uint16_t linkType = 0;             // raw IP is always 101
    std::uint8_t resolution = 0;            // the byte of if_tsresol
    std::uint8_t fcsLength = kNoFcsLength;  // bits
};

class PcapNgInterfaces {
 public:
    // As many can be told apart in a section.
    static constexpr std::uint32_t kMost = 65536;
    static constexpr std::size_t kMostNameBytes = std::size_t{1} << 20U;

    // A section begins, whose interfaces count from 0 again.
    void BeginSection();
    // A block begins, or goes on, that has no record yet.
    void BeginBlock() { m_Block += 1; }

    // Names take 1 MiB a section at most.
    [[nodiscard]] bool KeepsName(std::string_view name) const {
        return name.size() <= kMostNameBytes - m_NameBytes;
    }

    // Those of the section so far.
    [[nodiscard]] std::uint32_t Count() const { return m_Count; }

    // A further one of the section, which has fewer than kMost: gives it as records will have it. A
    // name is kept where there is one and KeepsName says so.
    Interface Add(const InterfaceDescription& description, std::string_view name = {});

    // The section's interface of that number, below Count.
    [[nodiscard]] const InterfaceDescription& At(std::uint32_t number) const {
        return RunOf(number).description;
    }
    // Nanoseconds since 1970 of a packet of that interface.
    [[nodiscard]] std::int64_t TimeOf(const InterfaceDescription& from, std::uint64_t ticks) {
        if (from.resolution != m_Resolution) [[unlikely]] {
            m_Resolution = from.resolution;
            m_TickTime = TickTime(from.resolution);
        }
        return m_TickTime.Nanoseconds(ticks, from.timeOffset);
    }

    // The number that it has among the interfaces of the block's records, which it is added to
    // where it is not known to be among them.
    [[nodiscard]] std::uint32_t NumberInBlock(std::uint32_t number, RecordBlock& block) {
        const InBlock& known = m_InBlock[number % kNamedLately];
        return known.block == m_Block && known.number == number ? known.inBlock
                                                                : AddToBlock(number, block);
    }

    // Lets the block give the interface that was added last out as described. Sections often
    // describe what the one before has described: that is told once. (Where there are many, now and
    // then again.)
    void GiveOut(const Interface& described, RecordBlock& block);

 private:
    struct Run {
        InterfaceDescription description;
        std::uint16_t first = 0;    // number in the section of the first of them
        std::uint16_t ordinal = 0;  // of that one
    };

    [[nodiscard]] const Run& RunOf(std::uint32_t number) const {
        return m_Runs.size() == m_Count ? m_Runs[number] : FindRun(number);
    }
    [[nodiscard]] const Run& FindRun(std::uint32_t number) const;
    [[nodiscard]] std::uint32_t AddToBlock(std::uint32_t number, RecordBlock& block);
    [[nodiscard]] const InterfaceName& NameOf(const Run& run) const;
    [[nodiscard]] Interface InterfaceOf(const Run& run, std::uint32_t number) const;
    [[nodiscard]] bool IsNewRun(Run& added) const;

    std::vector<Run> m_Runs;             // of the section
    std::vector<InterfaceName> m_Names;  // of the first runs, as far as there are names
    std::size_t m_NameBytes = 0;         // of these
    std::uint32_t m_Count = 0;           // of its interfaces
    std::uint32_t m_CountBefore = 0;     // of those of the sections before it

    // The interfaces that records have named lately, and their numbers in the block at hand.
    struct InBlock {
        std::uint64_t block = 0;  // 0: nothing
        std::uint32_t number = 0;
        std::uint32_t inBlock = 0;
    };
    static constexpr std::size_t kNamedLately = 16;
    std::array<InBlock, kNamedLately> m_InBlock{};
    std::uint64_t m_Block = 0;  // blocks and sections so far

    std::array<std::optional<Interface>, 16> m_GivenOut{};  // lately

    std::uint8_t m_Resolution = 0;  // of the packet looked at last
    TickTime m_TickTime{0};
};

}  // namespace velora::capture
