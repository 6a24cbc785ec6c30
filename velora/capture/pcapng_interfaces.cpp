#include "velora/capture/pcapng_interfaces.h"

#include <algorithm>
#include <iterator>

namespace velora::capture {
namespace {

// So many runs back it is looked which of several equal interfaces of a section one is.
constexpr std::size_t kMostRunsBack = 64;

}  // namespace

void PcapNgInterfaces::BeginSection() {
    m_CountBefore += m_Count;
    m_Count = 0;
    m_Runs.clear();
    m_Names.clear();
    m_NameBytes = 0;
    m_Block += 1;
}

Interface PcapNgInterfaces::Add(const InterfaceDescription& description, std::string_view name) {
    Run added{description, static_cast<std::uint16_t>(m_Count), 0};
    const bool isNewRun = IsNewRun(added);
    if (isNewRun) {
        m_Runs.push_back(added);
        if (!name.empty() && KeepsName(name)) {
            m_Names.resize(m_Runs.size() - 1);
            m_Names.push_back(std::make_shared<const std::string>(name));
            m_NameBytes += name.size();
        }
    }
    m_Count += 1;
    return InterfaceOf(added, added.first);
}

// Sets the ordinal. False where the interface goes on with the last run.
bool PcapNgInterfaces::IsNewRun(Run& added) const {
    std::uint32_t end = m_Count;  // of the run looked at
    for (std::size_t back = 1; back <= std::min(m_Runs.size(), kMostRunsBack); ++back) {
        const Run& run = m_Runs[m_Runs.size() - back];
        if (run.description.hash == added.description.hash) {
            added.ordinal = static_cast<std::uint16_t>(run.ordinal + end - run.first);
            return back > 1;
        }
        end = run.first;
    }
    return true;
}

const PcapNgInterfaces::Run& PcapNgInterfaces::FindRun(std::uint32_t number) const {
    return *std::prev(std::ranges::upper_bound(m_Runs, number, {}, &Run::first));
}

const InterfaceName& PcapNgInterfaces::NameOf(const Run& run) const {
    static const InterfaceName kNone;
    const auto number = static_cast<std::size_t>(&run - m_Runs.data());
    return number < m_Names.size() ? m_Names[number] : kNone;
}

Interface PcapNgInterfaces::InterfaceOf(const Run& run, std::uint32_t number) const {
    const InterfaceDescription& description = run.description;
    Interface interface;
    interface.linkType = description.linkType;
    interface.snapLen = description.snapLen;
    interface.number = m_CountBefore + number;
    if (description.fcsLength != InterfaceDescription::kNoFcsLength) {
        interface.fcsLength = description.fcsLength;
    }
    interface.isFinerThanMicroseconds = TickTime(description.resolution).IsFinerThanMicroseconds();
    interface.descriptionHash = description.hash;
    interface.ordinal = run.ordinal + number - run.first;
    return interface;
}

std::uint32_t PcapNgInterfaces::AddToBlock(std::uint32_t number, RecordBlock& block) {
    const Run& run = RunOf(number);
    const std::uint32_t inBlock = block.AddInterface(InterfaceOf(run, number), NameOf(run));
    m_InBlock[number % kNamedLately] = {m_Block, number, inBlock};
    return inBlock;
}

void PcapNgInterfaces::GiveOut(const Interface& described, RecordBlock& block) {
    std::optional<Interface>& lately =
        m_GivenOut[(described.descriptionHash + described.ordinal) % m_GivenOut.size()];
    if (lately && lately->IsSameAs(described)) {
        return;
    }
    lately = described;
    if (!block.described.empty()) {
        DescribedInterfaces& last = block.described.back();
        if (last.first.descriptionHash == described.descriptionHash &&
            last.first.ordinal + last.count == described.ordinal &&
            last.first.number + last.count == described.number) {
            last.count += 1;
            return;
        }
    }
    block.described.push_back({described});
    const InterfaceName& name = NameOf(m_Runs.back());  // it was added last
    block.Keep(name);
    block.described.back().first.name = name ? std::string_view(*name) : std::string_view();
}

}  // namespace velora::capture
