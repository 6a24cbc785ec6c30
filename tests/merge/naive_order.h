// The merge and the squish, the slow way: every rule for itself, on records that are all in memory.

#pragma once

#include <algorithm>
#include <iterator>
#include <limits>
#include <vector>

#include "tests/capture/read_whole.h"
#include "tests/support/capture_builder.h"

namespace velora::merge {

using Records = std::vector<capture::OwnedRecord>;
__extension__ using Wide = __int128;  // for every sum of times

inline std::int64_t Saturated(Wide time) {
    return static_cast<std::int64_t>(std::min<Wide>(time, std::numeric_limits<std::int64_t>::max()));
}

// One input in the order in which a merge takes its records.
struct NaiveOrder {
    Records records;
    std::uint64_t outOfPlace = 0;
    std::int64_t largestStep = 0;
};

// Of the records left, the earliest of the first block that has one and the block behind it; of equals the first.
inline NaiveOrder Mended(const std::vector<Records>& blocks) {
    struct Left {
        std::size_t block;
        capture::OwnedRecord record;
    };
    std::vector<Left> all;
    for (std::size_t block = 0; block < blocks.size(); ++block) {
        for (const capture::OwnedRecord& record : blocks[block]) {
            all.push_back({block, record});
        }
    }
    NaiveOrder order;
    for (std::int64_t latest = std::numeric_limits<std::int64_t>::min(); !all.empty();) {
        const auto end = std::ranges::find_if(all, [&](const Left& left) { return left.block > all[0].block + 1; });
        const auto next = std::min_element(
            all.begin(), end, [](const Left& one, const Left& other) { return one.record.time < other.record.time; });
        if (next->record.time < latest) {
            order.outOfPlace += 1;
            order.largestStep = std::max(order.largestStep, Saturated(Wide{latest} - next->record.time));
        }
        latest = std::max(latest, next->record.time);
        order.records.push_back(next->record);
        all.erase(next);
    }
    return order;
}

// The times since the first record, as a squish plays them.
inline std::vector<std::int64_t> Played(const Records& records) {
    std::vector<std::int64_t> played;
    Wide reached = 0;
    for (std::size_t at = 0; at < records.size(); ++at) {
        const Wide own = Wide{records[at].time} - records[0].time;
        const Wide step = at > 0 ? Wide{records[at].time} - records[at - 1].time : 0;
        // Waits; or its own time has caught up; or it follows with its own spacing.
        reached = step < 0 ? reached : own > reached ? own : reached + step;
        played.push_back(Saturated(reached));
    }
    return played;
}

// Behind the header of `file`, which counts units of so many nanoseconds, the records of all inputs, each at its
// own time or, squished, at the one that is played.
inline std::string NaiveFile(CaptureBuilder file, std::int64_t unit, const std::vector<Records>& inputs,
                             bool isSquish) {
    constexpr std::int64_t kSecond = 1'000'000'000;
    std::vector<std::vector<std::int64_t>> keys;
    std::optional<std::int64_t> base;
    for (const Records& records : inputs) {
        keys.emplace_back();
        std::ranges::transform(records, std::back_inserter(keys.back()), &capture::OwnedRecord::time);
        if (isSquish) {
            keys.back() = Played(records);
            base = base || records.empty() ? base : records[0].time;
        }
    }
    std::vector<std::size_t> next(inputs.size(), 0);
    while (true) {
        std::optional<std::size_t> first;
        for (std::size_t input = 0; input < inputs.size(); ++input) {
            if (next[input] < inputs[input].size() &&
                (!first || keys[input][next[input]] < keys[*first][next[*first]])) {
                first = input;
            }
        }
        if (!first) {
            return file.Bytes();
        }
        const capture::OwnedRecord& record = inputs[*first][next[*first]];
        const std::int64_t end = kSecond << 32U;
        const std::int64_t time = static_cast<std::int64_t>(
            std::clamp<Wide>(Wide{keys[*first][next[*first]]} + base.value_or(0), 0, end - 1));
        file.Record(static_cast<std::int32_t>(time / kSecond), static_cast<std::int32_t>(time % kSecond / unit),
                    static_cast<std::uint32_t>(record.data.size()), record.originalLength, record.data);
        next[*first] += 1;
    }
}

}  // namespace velora::merge
