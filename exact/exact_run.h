// ExactRun: one run of the exact mode, from the names of its inputs to an output that appears whole
// or not at all. Status 0 is the promise that every record of every input is in it, in time order;
// whatever is missing or doubtful is told to a listener, and the status says so.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "capture/capture_traits.h"
#include "capture/problem.h"
#include "exact/exact_job.h"
#include "exact/input_tally.h"
#include "exact/run_progress.h"

namespace velora::exact {

// Who is told of what happens. Called in the thread that runs the job.
class RunListener {
 public:
    RunListener() = default;
    virtual ~RunListener() = default;
    RunListener(const RunListener&) = delete;
    RunListener& operator=(const RunListener&) = delete;

    // `input` counts the job's inputs.
    [[nodiscard]] virtual std::string ShownInput(std::size_t input) const = 0;
    virtual void OnInput(std::size_t input, const capture::Problem& problem) = 0;
    // Why there is no output, or where it is instead. Without a path and a line end.
    virtual void OnOutput(const std::string& text) = 0;
};

// What is known of one input in the end.
struct InputReport {
    std::uint64_t bytesOnDisk = 0;  // 0 where it is no regular file
    bool isCapture = false;         // else nothing below is known
    capture::CaptureTraits traits;
    InputTally tally;
};

struct RunReport {
    Status status = Status::kNothingToWrite;
    bool hasReaderLeft = false;  // the output was a pipe that nobody reads any more
    std::vector<InputReport> inputs;
    std::uint64_t recordsWritten = 0;
    std::uint64_t bytesWritten = 0;        // size of the output
    std::optional<std::int64_t> earliest;  // times in the output, as asked for
    std::optional<std::int64_t> latest;
    std::uint32_t linkType = 0;
    bool hasNanoseconds = false;
};

// Runs the job. Throws std::bad_alloc and std::system_error when memory or threads run out, and
// leaves no output then.
[[nodiscard]] RunReport Run(const ExactJob& job, RunListener& listener, RunProgress& progress);

}  // namespace velora::exact
