#include "velora/merge/squish.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <vector>

#include "velora/utils/int128.h"
#include "velora/utils/saturating.h"
#include "velora/utils/shift_rule.h"
#include "velora/utils/tournament_tree.h"

namespace velora::merge {
namespace {

using Wide = utils::Int128;

// Where one input stands on the common axis of time, where each starts at zero. Wide enough for
// every sum of times there can be: one that stopped at the ends of 64 bits would go back behind a
// step from the last time to the first.
class Clock {
 public:
    explicit Clock(std::int64_t start) : m_Start(start), m_Current(start) {}

    void Advance(std::int64_t next) {
        m_Shift = MiscUtils::NextShift<Wide>(m_Current, m_Shift, next);
        m_Current = next;
    }

    // Nanoseconds since the start, never negative.
    [[nodiscard]] std::int64_t Elapsed() const {
        constexpr Wide kMost = std::numeric_limits<std::int64_t>::max();
        return static_cast<std::int64_t>(std::min(m_Current - m_Start + m_Shift, kMost));
    }

 private:
    Wide m_Start;
    Wide m_Current;
    Wide m_Shift = 0;
};

}  // namespace

bool Squish(Sources sources, std::uint32_t mostBytes, output::RecordSink& sink) {
    const std::vector<bool> haveRecords = Begin(sources, sink);
    std::optional<std::int64_t> base;
    std::vector<Clock> clocks;
    std::vector<std::optional<std::int64_t>> elapsed(sources.size());
    clocks.reserve(sources.size());
    for (std::size_t number = 0; number < sources.size(); ++number) {
        const std::int64_t start = haveRecords[number] ? sources[number]->Current().time : 0;
        clocks.emplace_back(start);
        if (haveRecords[number]) {
            elapsed[number] = 0;
            base = base.value_or(start);
        }
    }
    for (MiscUtils::TournamentTree tree(elapsed); !tree.Empty();) {
        const auto number = static_cast<std::uint32_t>(tree.Winner());
        RecordSource& source = *sources[number];
        const std::int64_t time = MiscUtils::SaturatingSum(*base, tree.WinnerKey());
        if (!PutRecord(source.Current(), number, time, mostBytes, sink)) {
            return false;
        }
        if (AdvanceToRecord(source, number, sink)) {
            clocks[number].Advance(source.Current().time);
            tree.Replace(clocks[number].Elapsed());
        } else {
            tree.Remove();
        }
    }
    return true;
}

}  // namespace velora::merge
