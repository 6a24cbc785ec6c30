#include "exact/exact_squish.h"

#include <algorithm>
#include <optional>
#include <vector>

#include "exact/address_copies.h"
#include "utils/saturating.h"
#include "utils/shift_clock.h"
#include "utils/tournament_tree.h"

namespace velora::exact {
namespace {

struct Nanoseconds {
    std::int64_t count = 0;

    friend Nanoseconds operator+(Nanoseconds one, Nanoseconds other) {
        return {MiscUtils::SaturatingSum(one.count, other.count)};
    }
    friend Nanoseconds operator-(Nanoseconds one, Nanoseconds other) {
        return {MiscUtils::SaturatingDifference(one.count, other.count)};
    }
    friend bool operator<(Nanoseconds one, Nanoseconds other) { return one.count < other.count; }
};

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
    Nanoseconds base;
    std::vector<Clock> clocks;
    std::vector<std::optional<std::int64_t>> elapsed;
    clocks.reserve(inputs.size());
    elapsed.reserve(inputs.size());
    bool hasBase = false;
    for (const InputOrder& input : inputs) {
        const Nanoseconds start{input.AtEnd() ? 0 : input.Current().time};
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
        const std::int64_t time = (base + Nanoseconds{tree.WinnerKey()}).count;
        if (!output.Write(input, time) || (makesCopies && !copier.Write(input, time, output))) {
            return false;
        }
        input.Advance();
        if (input.AtEnd()) {
            tree.Remove();
        } else {
            clocks[chosen].Advance({input.Current().time});
            tree.Replace(clocks[chosen].Elapsed().count);
        }
    }
    return true;
}

}  // namespace velora::exact
