// RunReport: what a run of the exact mode has done, for whoever tells it: on standard error, to a
// program (velora/report/report_json.h) or to a person (velora/report/report_page.h).

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "velora/capture/capture_traits.h"
#include "velora/capture/problem.h"
#include "velora/exact/job.h"
#include "velora/exact/status.h"
#include "velora/output/source_counts.h"
#include "velora/utils/api.h"
#include "velora/utils/time_histogram.h"

namespace velora::exact {

// What was told of one input, problems and notes. Names in a text stand there as they are: whoever
// shows it makes it harmless, once (velora/utils/shown_text.h).
class VELORA_API ProblemList {
 public:
    // A further one.
    void Add(const capture::Problem& problem) { m_All.push_back(problem); }

    // All of them, as they were told.
    [[nodiscard]] const std::vector<capture::Problem>& All() const { return m_All; }
    // How many there are besides notes.
    [[nodiscard]] std::size_t CountWithoutNotes() const;

 private:
    std::vector<capture::Problem> m_All;
};

// What is known of one input in the end.
struct InputReport {
    bool isRegular = false;         // its size is known
    std::uint64_t bytesOnDisk = 0;  // 0 where it is no regular file
    ProblemList problems;           // what was told of it
    bool isCapture = false;         // else nothing below is known
    capture::CaptureTraits traits;  // what it says of itself
    output::SourceCounts counts;    // what became of its records
};

struct VELORA_API RunReport {
    // As many inputs have a timeline, the first of the job.
    static constexpr std::size_t kMostTimelines = 60;

    Status status = Status::kNothingToWrite;  // what the process exits with
    bool hasBegun = false;       // the outputs were found fit, and the inputs were looked at
    bool hasReaderLeft = false;  // the output was a pipe that nobody reads any more
    bool isUntold = false;       // memory ran out when the output was there, before all was told
    std::vector<InputReport> inputs;  // one for each of the job, in its order
    // Why there is no output, where it is instead, or what is left beside it; else empty. Names in
    // it stand there as they are.
    std::string outputText;
    std::string keptAs;  // the path of an output whose own came into being during the run
    std::uint64_t recordsWritten = 0;  // copies included
    std::uint64_t stepsBack = 0;       // records of the output earlier than the one before
    std::uint64_t bytesWritten = 0;    // size of the output
    // The span of the times in the output, as asked for.
    std::optional<std::int64_t> earliest;
    std::optional<std::int64_t> latest;
    // What the output is like; the link type is that of a classic one.
    capture::Format format = capture::Format::kClassicMicroseconds;
    codec::Compression compression = codec::Compression::kNone;
    std::uint32_t linkType = 0;

    // Of all inputs together: Sum(&output::SourceCounts::recordsRead).
    [[nodiscard]] std::uint64_t Sum(std::uint64_t output::SourceCounts::*count) const;

    // Whether there is an output now, of its own name or another.
    [[nodiscard]] bool IsWritten() const {
        return status == Status::kComplete || status == Status::kIncomplete || !keptAs.empty();
    }
};

// What is known of a run outside of it.
struct RunSetting {
    const ExactJob& job;               // borrowed
    std::string version;               // of the tool
    std::vector<std::string> options;  // as they stood on the command line
    std::string directory;             // that all paths are relative to; empty: where it was called
    std::int64_t start = 0;            // nanoseconds since 1970
    std::int64_t duration = 0;         // nanoseconds
};

// The name of a mode, a status or a kind of problem in reports: "squish", "left-out".
[[nodiscard]] VELORA_API const char* NameOf(Mode mode);
[[nodiscard]] VELORA_API const char* NameOf(capture::ProblemKind kind);
// What a status says, in words.
[[nodiscard]] VELORA_API const char* TextOf(Status status);

}  // namespace velora::exact
