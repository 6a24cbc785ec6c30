#include "velora/merge/k_way_merge.h"

#include "velora/output/classic_sink.h"

namespace velora::merge {
namespace {

template <typename Sink>
bool MergeInto(Sources sources, std::uint32_t mostBytes, Sink& sink) {
    using Step = KWayMerge::Step;
    KWayMerge merge(sources);
    for (Step step = merge.Advance(); step != Step::kEnd; step = merge.Advance()) {
        const std::uint32_t number = merge.Source();
        if (step == Step::kCarried) {
            // Should it fail, so does the next record.
            static_cast<void>(sink.Put(output::CarriedBlock{number, merge.Carried()}));
        } else if (!PutRecord(merge.Current(), number, merge.Current().time, mostBytes, sink)) {
            return false;
        }
    }
    return true;
}

}  // namespace

KWayMerge::Step KWayMerge::Begin() {
    m_First.reserve(m_Sources.size());
    while (m_First.size() < m_Sources.size()) {
        m_Number = static_cast<std::uint32_t>(m_First.size());
        RecordSource& source = *m_Sources[m_Number];
        const Step step = source.Advance();
        if (step == Step::kCarried) {
            return step;
        }
        m_First.push_back(step == Step::kRecord ? std::optional(source.Current().time)
                                                : std::nullopt);
    }
    m_Tree = MiscUtils::TournamentTree(m_First);
    return Choose();
}

bool MergeByTime(Sources sources, std::uint32_t mostBytes, output::RecordSink& sink) {
    // The usual output is known by its own type: a merge into it is 3 % quicker for that.
    if (auto* const classic = dynamic_cast<output::ClassicSink*>(&sink)) {
        return MergeInto(sources, mostBytes, *classic);
    }
    return MergeInto(sources, mostBytes, sink);
}

bool Concatenate(Sources sources, std::uint32_t mostBytes, output::RecordSink& sink) {
    const std::vector<bool> haveRecords = Begin(sources, sink);
    for (std::uint32_t number = 0; number < sources.size(); ++number) {
        RecordSource& source = *sources[number];
        for (bool hasRecord = haveRecords[number]; hasRecord;
             hasRecord = AdvanceToRecord(source, number, sink)) {
            if (!PutRecord(source.Current(), number, source.Current().time, mostBytes, sink)) {
                return false;
            }
        }
    }
    return true;
}

}  // namespace velora::merge
