#include "velora/output/ledger.h"

namespace velora::output {

void Ledger::CountBlock(std::uint32_t source, const capture::RecordBlock& block) {
    SourceCounts& counts = m_Sources[source];
    counts.recordsRead += block.recordsRead;
    counts.recordsOutside += block.recordsRead - block.recordsLeftOut - block.Count();
    counts.recordsLeftOut += block.recordsLeftOut;
    counts.leftOutLinkType =
        block.recordsLeftOut > 0 ? block.leftOutLinkType : counts.leftOutLinkType;
    counts.stepsBack += block.stepsBack;
    counts.extras += block.extras;
    if (block.Count() > 0) {
        const std::int64_t earliest = block.EarliestTime();
        const std::int64_t latest = block.LatestTime();
        counts.earliest = std::min(counts.earliest.value_or(earliest), earliest);
        counts.latest = std::max(counts.latest.value_or(latest), latest);
    }
}

void Ledger::CountOutOfPlace(std::uint32_t source, std::int64_t step) {
    SourceCounts& counts = m_Sources[source];
    counts.outOfPlace += 1;
    counts.largestStep = std::max(counts.largestStep, step);
}

void Ledger::CountTime(SourceCounts& counts, const Item& item, TimeChange change) {
    if (counts.timeline != nullptr) {
        counts.timeline->captured.Add(item.record->time);
        counts.timeline->written.Add(item.time);
    }
    switch (change) {
        case TimeChange::kAsIs:
            break;
        case TimeChange::kBefore1970:
            counts.beforeEpoch += 1;
            break;
        case TimeChange::kBeyondLast:
            counts.beyondEnd += 1;
            break;
        case TimeChange::kFinerThanUnit:
            counts.roundedDown += 1;
            break;
    }
}

OutputCounts Ledger::Output() const {
    OutputCounts counts;
    counts.records = m_Records;
    counts.stepsBack = m_StepsBack;
    if (m_Records > 0) {
        counts.earliest = m_Earliest;
        counts.latest = m_Latest;
    }
    return counts;
}

}  // namespace velora::output
