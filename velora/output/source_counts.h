// SourceCounts: what became of the records of one source of an output, such as an input of a merge.

#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "velora/capture/extras.h"
#include "velora/utils/time_histogram.h"

namespace velora::output {

// Where the written records of a source lie in time.
struct Timeline {
    utils::TimeHistogram captured;  // by their own times
    utils::TimeHistogram written;   // of a squish; without the copies
};

// The counts of one source. Times are nanoseconds since 1970.
struct SourceCounts {
    std::uint64_t recordsRead = 0;      // whole records of the file
    std::uint64_t recordsWritten = 0;   // without the copies of a squish
    std::uint64_t recordsOutside = 0;   // of other times than those that were asked for
    std::uint64_t recordsLeftOut = 0;   // of another link type than the first
    std::uint32_t leftOutLinkType = 0;  // the link type of one of them
    std::uint64_t stepsBack = 0;        // records earlier than the one before in the file
    std::uint64_t outOfPlace = 0;       // records that stand in the output behind later ones
    std::int64_t largestStep = 0;       // by how many nanoseconds at most
    // Records whose time the output cannot hold, and how.
    std::uint64_t beforeEpoch = 0;
    std::uint64_t beyondEnd = 0;
    std::uint64_t roundedDown = 0;
    std::uint64_t copies = 0;      // of a squish
    std::uint64_t duplicates = 0;  // of records that had been written already
    bool mayRepeat = false;  // some of its records may equal earlier ones, which were forgotten
    bool lacksInterfaces = false;  // some that no packet names may not be described in the output
    capture::Extras extras;        // what it holds besides; not taken over
    // Of the records that were asked for, as captured.
    std::optional<std::int64_t> earliest;
    std::optional<std::int64_t> latest;
    std::unique_ptr<Timeline> timeline;  // filled where there is one
};

}  // namespace velora::output
