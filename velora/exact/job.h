// What a run of the exact mode is asked to do.

#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "velora/codec/compression.h"

namespace velora::exact {

// Something to read from: a path, or standard input.
struct InputName {
    std::string path;              // relative to the working directory
    bool isStandardInput = false;  // then the path is not looked at
};

// What to call it: its path, or "standard input".
[[nodiscard]] inline std::string NameOf(const InputName& name) {
    return name.isStandardInput ? "standard input" : name.path;
}

// What is done with the times of the inputs.
enum class Mode : std::uint8_t {
    kMerge,        // by time
    kConcatenate,  // input after input
    kSquish,       // each input moved to a common start
    kSquish10,     // the same, with ten copies of IPv4 packets
};

// Either of the last two.
[[nodiscard]] constexpr bool IsSquish(Mode mode) {
    return mode == Mode::kSquish || mode == Mode::kSquish10;
}

// As --format names them; the first is what comes without it.
enum class OutputFormat : std::uint8_t {
    kFitting,  // pcap, with nanoseconds when an input has them
    kPcap,     // with microseconds: what is finer is cut, as was asked for
    kPcapNanoseconds,
    kPcapNg,  // each interface of each input is one of the output's
};

struct ExactJob {
    Mode mode = Mode::kMerge;       // what is done with the times
    std::vector<InputName> inputs;  // in the order named, which decides between equal times
    std::string output;             // a path, or "-" for standard output
    std::string report;             // a path; empty: none is asked for

    // Only records with earliest <= time <= latest, as captured, in nanoseconds since 1970.
    std::int64_t earliest = std::numeric_limits<std::int64_t>::min();
    std::int64_t latest = std::numeric_limits<std::int64_t>::max();
    std::uint32_t snapLen = 0;  // captured bytes are cut to so many; 0: they are not cut
    // Records equal to one written at most so many nanoseconds before are dropped; a merge only.
    std::optional<std::int64_t> duplicateWindow;

    // What the output is like.
    OutputFormat format = OutputFormat::kFitting;
    codec::Compression compression = codec::Compression::kNone;  // or gzip, or zstd
};

}  // namespace velora::exact
