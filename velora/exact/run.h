// ExactRun: one run of the exact mode, from the names of its inputs to an output that appears whole
// or not at all. Status 0 is the promise that every record of every input is in it, in time order;
// whatever is missing or doubtful is told to a listener, and the status says so.

#pragma once

#include <cstddef>
#include <stop_token>
#include <string>

#include "velora/capture/problem.h"
#include "velora/exact/job.h"
#include "velora/exact/run_report.h"
#include "velora/output/output_file.h"
#include "velora/output/run_progress.h"
#include "velora/utils/api.h"

namespace velora::exact {

// Who is told of what happens. Called in the thread that runs the job; throws nothing but
// std::bad_alloc.
class RunListener {
 public:
    RunListener() = default;
    virtual ~RunListener() = default;
    RunListener(const RunListener&) = delete;
    RunListener& operator=(const RunListener&) = delete;

    // `input` counts the job's inputs.
    virtual void OnInput(std::size_t input, const capture::Problem& problem) = 0;
    // Why there is no output, where it is instead, or what is left beside it. Without a path and a
    // line end.
    virtual void OnOutput(const std::string& text) = 0;
    // Why there can be no report, in the same form.
    virtual void OnReport(const std::string& /*text*/) {}
};

// Runs the job. A `stop` that any thread asks for ends it within a tenth of a second, wherever the
// inputs stand, with Status::kStopped: no output is left then, but for what a pipe or a device has
// taken. What cannot be interrupted is waited for: a write that the system holds (a full pipe that
// nobody reads), the opening of a FIFO as the output until somebody reads it, and the freeing of
// gigabytes that were written. Throws std::bad_alloc and std::system_error when memory or threads
// run out, and leaves no output then.
//
// A job that asks for a report comes with a file for it, as it was made. The file is prepared
// together with the output, so that whatever speaks against it ends the run before anything is
// read; opening, writing and finishing it, when the run `hasBegun`, is the caller's.
[[nodiscard]] VELORA_API RunReport Run(const ExactJob& job, RunListener& listener,
                                       output::RunProgress& progress,
                                       output::OutputFile* reportFile = nullptr,
                                       const std::stop_token& stop = {});

}  // namespace velora::exact
