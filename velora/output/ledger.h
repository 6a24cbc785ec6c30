// Ledger: what became of the records of each source, counted by the number of the source. Whoever
// takes a record in, drops it, changes it or writes it counts that here.
//
// One thread counts.

#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include "velora/capture/record_block.h"
#include "velora/output/record_sink.h"
#include "velora/output/run_progress.h"
#include "velora/output/source_counts.h"
#include "velora/output/time_change.h"
#include "velora/utils/api.h"

namespace velora::output {

struct OutputCounts {
    std::uint64_t records = 0;    // copies included
    std::uint64_t stepsBack = 0;  // records earlier than the one before
    // The span of the times asked for; none when there is no record.
    std::optional<std::int64_t> earliest;
    std::optional<std::int64_t> latest;
};

class VELORA_API Ledger {
 public:
    // `progress` learns how many records are written; it outlives the ledger.
    Ledger(std::size_t sources, RunProgress& progress) : m_Sources(sources), m_Progress(progress) {}

    // The counts of the source of that number.
    [[nodiscard]] SourceCounts& Of(std::uint32_t source) { return m_Sources[source]; }

    // A further block of the source.
    void CountBlock(std::uint32_t source, const capture::RecordBlock& block);

    // A record that stands in the output behind one that is later by so many nanoseconds.
    void CountOutOfPlace(std::uint32_t source, std::int64_t step);

    // An item that was written, with its time as it is or another.
    void CountWritten(const Item& item, TimeChange change) {
        m_Progress.records.store(++m_Records, std::memory_order_relaxed);
        m_StepsBack += item.time < m_Previous ? 1 : 0;
        m_Previous = item.time;
        m_Earliest = std::min(m_Earliest, item.time);
        m_Latest = std::max(m_Latest, item.time);
        SourceCounts& counts = m_Sources[item.source];
        if (item.isCopy) {
            counts.copies += 1;
            return;  // what became of the time was with the record
        }
        counts.recordsWritten += 1;
        if (counts.timeline != nullptr || change != TimeChange::kAsIs) [[unlikely]] {
            CountTime(counts, item, change);
        }
    }

    // What was written of all sources together.
    [[nodiscard]] OutputCounts Output() const;

 private:
    static void CountTime(SourceCounts& counts, const Item& item, TimeChange change);

    std::vector<SourceCounts> m_Sources;
    RunProgress& m_Progress;
    std::uint64_t m_Records = 0;
    std::uint64_t m_StepsBack = 0;
    std::int64_t m_Previous = std::numeric_limits<std::int64_t>::min();
    std::int64_t m_Earliest = std::numeric_limits<std::int64_t>::max();
    std::int64_t m_Latest = std::numeric_limits<std::int64_t>::min();
};

}  // namespace velora::output
