// ByteSink: where the bytes of an output go, in order, be it a file, a pipe, or a compressor in
// front of one of them. How it went is a value that says why.
//
// A sink belongs to one thread at a time; it may be handed to another between two calls.

#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "velora/utils/api.h"

namespace velora::codec {

// What became of an output, or of one step on the way to it.
struct VELORA_API OutputOutcome {
    // How it ended.
    enum class Kind : std::uint8_t {
        kGood,
        kExists,  // the path exists: it was not touched
        kTaken,   // the path came into being during the run: it was not touched, and the finished
                  // output stays beside it
        kCannot,  // it cannot be created or written: nothing of it is left, unless `text` tells so
    };
    Kind kind = Kind::kGood;     // for programs; `text` is for people
    int error = 0;               // an errno value; 0 where no system call failed
    bool hasReaderLeft = false;  // the output is a pipe, and nobody reads it any more (EPIPE)
    std::string text{};          // why, without the path, without a line end
    std::string keptAs{};        // kTaken: the path of the finished output

    // Nothing went wrong.
    [[nodiscard]] bool IsGood() const { return kind == Kind::kGood; }
};

class ByteSink {
 public:
    ByteSink() = default;
    virtual ~ByteSink() = default;
    ByteSink(const ByteSink&) = delete;
    ByteSink& operator=(const ByteSink&) = delete;

    // Takes all of the bytes, or tells why not: kGood or kCannot. After a failure nothing more is
    // taken, and each further call tells the same.
    [[nodiscard]] virtual OutputOutcome Write(std::span<const std::uint8_t> bytes) = 0;

    // Passes on what was taken so far, where the sink holds some back, so that whoever reads the
    // output as it grows has it. Fails as Write does.
    [[nodiscard]] virtual OutputOutcome Flush() { return {}; }

    // No more bytes come: called once, last. After a failure it tells that again, or is not called.
    // Only when this is kGood, or kTaken, does the output hold everything. A sink that is destroyed
    // without it leaves nothing behind where that can be.
    [[nodiscard]] virtual OutputOutcome Finish() = 0;
};

}  // namespace velora::codec
