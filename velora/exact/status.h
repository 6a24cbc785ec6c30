// How a run ended, as one number, and how it follows from what happened.

#pragma once

#include <cstdint>
#include <optional>

#include "velora/codec/byte_sink.h"
#include "velora/utils/api.h"

namespace velora::exact {

// How a run ended; the process exits with the number.
enum class Status : std::uint8_t {
    kComplete = 0,          // every record that was asked for is in the output, in time order
    kStopped = 250,         // the program that started the run has stopped it
    kNothingToWrite = 251,  // no input is a readable capture, or they do not fit into one
    kIncomplete = 252,      // written, but something is missing, doubtful or out of place
    kCannotWrite = 253,     // the output cannot be created or written
    kOutputExists = 254,    // the output exists, or is one of the inputs
    kWrongCommandLine = 255,
};

// What happened in a run, as far as its status depends on it.
struct RunFacts {
    // How an output ended.
    using OutputKind = codec::OutputOutcome::Kind;

    bool isPathRefused = false;  // the output or the report is one of the inputs, or both are one
    OutputKind output = OutputKind::kGood;  // what became of the output, as far as it came
    OutputKind report = OutputKind::kGood;  // of the preparation of the report
    bool isStopped = false;                 // by whoever started it
    bool hasNothingToWrite = false;         // no input is a capture, or they do not fit together
    bool isDoubtful = false;                // something is missing, doubtful or out of place
};

// What exists is told before what cannot be written, that before a stop, and that before what there
// is to write.
[[nodiscard]] VELORA_API Status StatusOf(const RunFacts& facts);

// The output is complete under its name; with the second, but for what is named.
[[nodiscard]] constexpr bool IsOutputThere(Status status) {
    return status == Status::kComplete || status == Status::kIncomplete;
}

}  // namespace velora::exact
