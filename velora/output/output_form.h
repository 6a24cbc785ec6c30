// What an output is like as a whole.

#pragma once

#include <cstdint>
#include <limits>

#include "velora/capture/capture_traits.h"

namespace velora::output {

struct OutputForm {
    // kClassicMicroseconds, kClassicNanoseconds or kPcapNg.
    capture::Format format = capture::Format::kClassicMicroseconds;
    bool cutsFinerTimes = false;  // what is finer than the unit is cut without being counted
    std::uint32_t linkType = 1;   // of a classic one
    std::uint32_t fcsBits = 0;    // of a classic one, at their place above the link type
    std::uint32_t snapLen = 0;    // as it is declared; 0 in pcap-ng: that of each interface
    std::uint32_t mostBytes = std::numeric_limits<std::uint32_t>::max();  // kept of a record

    // Else it is classic.
    [[nodiscard]] bool IsPcapNg() const { return format == capture::Format::kPcapNg; }
};

}  // namespace velora::output
