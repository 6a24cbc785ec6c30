// The merge and the squish, the slow way: every rule for itself, on records that are all in memory.

#pragma once

#include <algorithm>
#include <deque>
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
inline NaiveOrder Mended(std::vector<Records> blocks) {
    NaiveOrder order;
    std::int64_t latest = std::numeric_limits<std::int64_t>::min();
    Records older;
    blocks.emplace_back();
    for (Records& newer : blocks) {
        while (!older.empty()) {
            const auto first = std::ranges::min_element(older, {}, &capture::OwnedRecord::time);
            const auto other = std::ranges::min_element(newer, {}, &capture::OwnedRecord::time);
            const bool isNewer = other != newer.end() && other->time < first->time;
            order.records.push_back(isNewer ? *other : *first);
            isNewer ? newer.erase(other) : older.erase(first);
            const std::int64_t time = order.records.back().time;
            if (time < latest) {
                order.outOfPlace += 1;
                order.largestStep = std::max(order.largestStep, Saturated(Wide{latest} - time));
            }
            latest = std::max(latest, time);
        }
        older = newer;
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
    std::vector<std::deque<std::pair<std::int64_t, const capture::OwnedRecord*>>> queues;
    std::optional<std::int64_t> base;
    for (const Records& records : inputs) {
        const std::vector<std::int64_t> played = Played(records);
        queues.emplace_back();
        for (std::size_t at = 0; at < records.size(); ++at) {
            queues.back().emplace_back(isSquish ? played[at] : records[at].time, &records[at]);
        }
        base = base || records.empty() ? base : records[0].time;
    }
    const auto isEmpty = [](const auto& queue) { return queue.empty(); };
    for (std::erase_if(queues, isEmpty); !queues.empty(); std::erase_if(queues, isEmpty)) {
        auto& first = *std::ranges::min_element(queues, {}, [](const auto& queue) { return queue.front().first; });
        const auto [key, record] = first.front();
        const Wide wide = std::clamp<Wide>(Wide{key} + (isSquish ? *base : 0), 0, (kSecond << 32U) - 1);
        const auto time = static_cast<std::int64_t>(wide);
        file.Record(static_cast<std::int32_t>(time / kSecond), static_cast<std::int32_t>(time % kSecond / unit),
                    static_cast<std::uint32_t>(record->data.size()), record->originalLength, record->data);
        first.pop_front();
    }
    return file.Bytes();
}

}  // namespace velora::merge
