// KWayMerge: all records of many sources in one order, one after the other: by time to the
// nanosecond; among equals the source named first, and within a source its own order. A choice
// costs a logarithm in the number of sources.
//
//     for (auto step = merge.Advance(); step != Step::kEnd; step = merge.Advance()) {
//         step == Step::kRecord ? Use(merge.Current(), merge.Source()) : Note(merge.Carried());
//     }
//
// One thread uses it.

#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "velora/merge/put_record.h"
#include "velora/utils/api.h"
#include "velora/utils/tournament_tree.h"

namespace velora::merge {

class KWayMerge {
 public:
    // What stands next; of kCarried, in front of the next record of that source.
    using Step = RecordSource::Step;

    // Of sources that have not begun, and outlive it.
    explicit KWayMerge(Sources sources) : m_Sources(sources), m_Tree({}) {}

    // Goes on, to what is first at the beginning; waits for it. Not behind the end. Throws
    // std::bad_alloc.
    [[nodiscard]] Step Advance() {
        if (m_Source != nullptr) [[likely]] {
            const Step step = m_Source->Advance();
            if (step == Step::kRecord) [[likely]] {
                m_Tree.Replace(m_Source->Current().time);
                return Choose();
            }
            return step == Step::kCarried ? step : Leave();
        }
        return Begin();
    }

    // After kRecord, until the next Advance.
    [[nodiscard]] const capture::Record& Current() const { return m_Source->Current(); }
    // After kCarried, until the next Advance.
    [[nodiscard]] std::span<const capture::DescribedInterfaces> Carried() const {
        return m_Sources[m_Number]->Carried();
    }
    // The number of the source that it is from.
    [[nodiscard]] std::uint32_t Source() const { return m_Number; }

 private:
    // Takes every source to its first record.
    [[nodiscard]] Step Begin();

    // The source at hand is at its end.
    [[nodiscard]] Step Leave() {
        m_Tree.Remove();
        return Choose();
    }

    [[nodiscard]] Step Choose() {
        if (m_Tree.Empty()) {
            return Step::kEnd;
        }
        m_Number = static_cast<std::uint32_t>(m_Tree.Winner());
        m_Source = m_Sources[m_Number].get();
        return Step::kRecord;
    }

    Sources m_Sources;
    MiscUtils::TournamentTree m_Tree;
    std::vector<std::optional<std::int64_t>> m_First;  // times of those that have begun, meanwhile
    RecordSource* m_Source = nullptr;  // that gave the last record; null until all have begun
    std::uint32_t m_Number = 0;        // which it is, or which is beginning
};

// Puts all records of the sources, which have not begun, into the sink, of their bytes `mostBytes`
// at most. False once the output has failed.
[[nodiscard]] VELORA_API bool MergeByTime(Sources sources, std::uint32_t mostBytes,
                                          output::RecordSink& sink);

// Source after source, without any order by time.
[[nodiscard]] VELORA_API bool Concatenate(Sources sources, std::uint32_t mostBytes,
                                          output::RecordSink& sink);

}  // namespace velora::merge
