#include "velora/merge/squish.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <vector>

#include "velora/packet/address_copies.h"
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

// Writes the copies of the input's record, which has just been written.
class Copier {
 public:
    [[nodiscard]] bool Write(InputOrder& input, std::int64_t time, RecordWriter& output) {
        const WrittenRecord record = output.AsWritten(input);
        const auto copies = packet::AddressCopies::Plan(record.linkType, record.bytes);
        if (!copies) {
            return true;
        }
        m_Bytes.assign(record.bytes.begin(), record.bytes.end());
        for (std::uint8_t network = 0; network < packet::AddressCopies::kNetworks; ++network) {
            copies->Apply(network, m_Bytes);
            if (!output.WriteCopy(input, m_Bytes, time)) {
                return false;
            }
        }
        return true;
    }

 private:
    std::vector<std::uint8_t> m_Bytes;
};

}  // namespace

bool Squish(std::span<InputOrder> inputs, bool makesCopies, RecordWriter& output) {
    std::int64_t base = 0;
    std::vector<Clock> clocks;
    std::vector<std::optional<std::int64_t>> elapsed;
    clocks.reserve(inputs.size());
    elapsed.reserve(inputs.size());
    bool hasBase = false;
    for (const InputOrder& input : inputs) {
        const std::int64_t start = input.AtEnd() ? 0 : input.Current().time;
        clocks.emplace_back(start);
        elapsed.push_back(input.AtEnd() ? std::nullopt : std::optional<std::int64_t>(0));
        if (!hasBase && !input.AtEnd()) {
            base = start;
            hasBase = true;
        }
    }
    Copier copier;
    for (MiscUtils::TournamentTree tree(elapsed); !tree.Empty();) {
        const std::size_t chosen = tree.Winner();
        InputOrder& input = inputs[chosen];
        const std::int64_t time = MiscUtils::SaturatingSum(base, tree.WinnerKey());
        if (!output.Write(input, time) || (makesCopies && !copier.Write(input, time, output))) {
            return false;
        }
        input.Advance();
        if (input.AtEnd()) {
            tree.Remove();
        } else {
            clocks[chosen].Advance(input.Current().time);
            tree.Replace(clocks[chosen].Elapsed());
        }
    }
    return true;
}

}  // namespace velora::merge
