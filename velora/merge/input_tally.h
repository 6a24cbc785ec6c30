// InputTally: what became of one input, counted as its blocks and records go by.

#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>

#include "velora/capture/problem.h"
#include "velora/capture/record_block.h"
#include "velora/utils/time_histogram.h"

namespace velora::merge {

// Where the written records of an input lie in time.
struct InputTimeline {
    utils::TimeHistogram captured;  // by their own times
    utils::TimeHistogram written;   // of a squish; without the copies
};

struct InputTally {
    std::uint64_t recordsRead = 0;      // whole records of the file
    std::uint64_t recordsWritten = 0;   // without the copies of a squish
    std::uint64_t recordsLeftOut = 0;   // of another link type than the first
    std::uint32_t leftOutLinkType = 0;  // the link type of one of them
    std::uint64_t recordsOutside = 0;   // of a time that was not asked for
    std::uint64_t stepsBack = 0;        // records earlier than the one before in the file
    std::uint64_t outOfPlace = 0;       // records that stand in the output behind later ones
    std::int64_t largestStep = 0;       // by how many nanoseconds at most
    // Records whose time the output cannot hold, and how.
    std::uint64_t beforeEpoch = 0;
    std::uint64_t beyondEnd = 0;
    std::uint64_t roundedDown = 0;
    std::uint64_t copies = 0;      // of a squish
    std::uint64_t duplicates = 0;  // records that are not written, for an equal one was before
    bool hasDropped = false;       // names, secrets or comments were not taken over
    // Of the records that were asked for, as captured.
    std::optional<std::int64_t> earliest;
    std::optional<std::int64_t> latest;
    std::unique_ptr<InputTimeline> timeline;  // filled where there is one

    // A further block of the input.
    void Add(const capture::RecordBlock& block) {
        recordsRead += block.recordsRead;
        recordsLeftOut += block.recordsLeftOut;
        recordsOutside += block.recordsRead - block.recordsLeftOut - block.Count();
        leftOutLinkType = block.recordsLeftOut > 0 ? block.leftOutLinkType : leftOutLinkType;
        stepsBack += block.stepsBack;
        hasDropped |= block.hasDropped;
        if (block.Count() > 0) {
            earliest = std::min(earliest.value_or(block.EarliestTime()), block.EarliestTime());
            latest = std::max(latest.value_or(block.LatestTime()), block.LatestTime());
        }
    }
};

}  // namespace velora::merge
