// What a run of the exact mode is asked to do, and how it ended.

#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace velora::exact {

// Something to read from: a path, or standard input.
struct InputName {
    std::string path;
    bool isStandardInput = false;
};

enum class Mode : std::uint8_t {
    kMerge,        // by time
    kConcatenate,  // input after input
    kSquish,       // each input moved to a common start
    kSquish10,     // the same, with ten copies of IPv4 packets
};

struct ExactJob {
    Mode mode = Mode::kMerge;
    std::vector<InputName> inputs;  // in the order named, which decides between equal times
    std::string output;             // a path, or "-" for standard output
};

// How a run ended; the process exits with the number.
enum class Status : std::uint8_t {
    kComplete = 0,          // every record that was asked for is in the output, in time order
    kNothingToWrite = 251,  // no input is a readable capture, or they do not fit into one
    kIncomplete = 252,      // written, but something is missing, doubtful or out of place
    kCannotWrite = 253,     // the output cannot be created or written
    kOutputExists = 254,    // the output exists, or is one of the inputs
    kWrongCommandLine = 255,
};

}  // namespace velora::exact
