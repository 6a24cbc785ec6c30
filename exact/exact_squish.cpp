#include "exact/exact_squish.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <vector>

#include "exact/address_copies.h"
#include "utils/saturating.h"
#include "utils/shift_clock.h"
#include "utils/tournament_tree.h"

namespace velora::exact {
namespace {

__extension__ using Wide = __int128;

// Wide enough for every sum of times that a clock makes, so that it never goes back: one that
// stopped at the ends of 64 bits would, behind a step from the last time to the first.
struct Nanoseconds {
    Wide count = 0;

    friend Nanoseconds operator+(Nanoseconds one, Nanoseconds other) {
        return {one.count + other.count};
    }
    friend Nanoseconds operator-(Nanoseconds one, Nanoseconds other) {
        return {one.count - other.count};
    }
    friend bool operator<(Nanoseconds one, Nanoseconds other) { return one.count < other.count; }
};

// What has elapsed never is less than nothing.
std::int64_t Saturated(Nanoseconds elapsed) {
    constexpr Wide kMost = std::numeric_limits<std::int64_t>::max();
    return static_cast<std::int64_t>(std::min(elapsed.count, kMost));
}

using Clock = MiscUtils::ShiftClock<Nanoseconds>;

// Writes the copies of the input's record, which has just been written.
class Copier {
 public:
    [[nodiscard]] bool Write(InputOrder& input, std::int64_t time, RecordWriter& output) {
        const WrittenRecord record = output.AsWritten(input);
        const auto copies = AddressCopies::Plan(record.linkType, record.bytes);
        if (!copies) {
            return true;
        }
        m_Bytes.assign(record.bytes.begin(), record.bytes.end());
        for (std::uint8_t network = 0; network < AddressCopies::kNetworks; ++network) {
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
        clocks.emplace_back(Nanoseconds{start});
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
            clocks[chosen].Advance({input.Current().time});
            tree.Replace(Saturated(clocks[chosen].Elapsed()));
        }
    }
    return true;
}

}  // namespace velora::exact
