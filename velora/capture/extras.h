// What a capture holds besides records and interfaces. It is counted, and not given out.

#pragma once

#include <cstdint>

namespace velora::capture {

struct Extras {
    std::uint64_t comments = 0;        // of packets, interfaces and sections
    std::uint64_t nameBlocks = 0;      // that tell names of addresses
    std::uint64_t secretBlocks = 0;    // to decrypt with
    std::uint64_t otherBlocks = 0;     // statistics, journals, and whatever else there may be
    std::uint64_t otherOptions = 0;    // of packets, interfaces and sections: directions, drop
                                       // counts, descriptions, what the capture was recorded with
    std::uint64_t interfaceNames = 0;  // that were too many or too long to be kept

    // Both together.
    Extras& operator+=(const Extras& other) {
        comments += other.comments;
        nameBlocks += other.nameBlocks;
        secretBlocks += other.secretBlocks;
        otherBlocks += other.otherBlocks;
        otherOptions += other.otherOptions;
        interfaceNames += other.interfaceNames;
        return *this;
    }
    // The same counts.
    bool operator==(const Extras&) const = default;
};

}  // namespace velora::capture
