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

// Writes the copies of a record, which has just been written.
class Copier {
 public:
    [[nodiscard]] bool Write(std::uint32_t linkType, const capture::Record& record,
                             std::int64_t time, InputTally& tally, RecordWriter& output) {
        const auto copies = AddressCopies::Plan(linkType, record.Bytes());
        if (!copies) {
            return true;
        }
        m_Bytes.assign(record.data, record.data + record.capturedLength);
        for (std::uint8_t network = 0; network < AddressCopies::kNetworks; ++network) {
            copies->Apply(network, m_Bytes);
            if (!output.WriteCopy(m_Bytes, record.originalLength, time, tally)) {
                return false;
            }
        }
        return true;
    }

 private:
    std::vector<std::uint8_t> m_Bytes;
};

}  // namespace

bool Squish(std::span<InputOrder> inputs, std::span<const std::uint32_t> linkTypes,
            RecordWriter& output) {
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
        if (!output.Write(input.Current(), time, input.Tally())) {
            return false;
        }
        if (!linkTypes.empty() &&
            !copier.Write(linkTypes[chosen], input.Current(), time, input.Tally(), output)) {
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
