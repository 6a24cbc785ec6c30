// RunReport: what a run of the exact mode has done, for whoever tells it: on standard error, to a
// program (velora/report/report_json.h) or to a person (velora/report/report_page.h).

#pragma once

#include <algorithm>
#include <array>
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
#include "velora/output/ledger.h"
#include "velora/utils/time_histogram.h"

namespace velora::exact {

// What was told of one input: at most ten problems of one kind, and how many more there were.
class ToldProblems {
 public:
    // Lines that are kept of one kind.
    static constexpr std::size_t kMostOfOneKind = 10;
    // How many kinds there are.
    static constexpr std::size_t kKinds = std::size_t{capture::kProblemKinds};

    // A further one, which is counted at least.
    void Add(const capture::Problem& problem) {
        if (++m_Counts[static_cast<std::size_t>(problem.kind)] <= kMostOfOneKind) {
            m_Lines.push_back(problem);
        }
    }

    // Those that were kept, as they were told.
    [[nodiscard]] const std::vector<capture::Problem>& Lines() const { return m_Lines; }
    // Those of that kind that are not among the lines.
    [[nodiscard]] std::uint64_t More(capture::ProblemKind kind) const {
        const std::uint64_t count = m_Counts[static_cast<std::size_t>(kind)];
        return count - std::min<std::uint64_t>(count, kMostOfOneKind);
    }
    // All but notes.
    [[nodiscard]] std::uint64_t Count() const {
        std::uint64_t count = 0;
        for (std::size_t kind = 0; kind < kKinds; ++kind) {
            count +=
                kind == static_cast<std::size_t>(capture::ProblemKind::kNote) ? 0 : m_Counts[kind];
        }
        return count;
    }

 private:
    std::vector<capture::Problem> m_Lines;
    std::array<std::uint64_t, kKinds> m_Counts{};
};

// What is known of one input in the end.
struct InputReport {
    bool isRegular = false;         // its size is known
    std::uint64_t bytesOnDisk = 0;  // 0 where it is no regular file
    ToldProblems problems;          // what was told of it
    bool isCapture = false;         // else nothing below is known
    capture::CaptureTraits traits;  // what it says of itself
    output::SourceCounts tally;     // what became of its records
};

struct RunReport {
    // As many inputs have a timeline, the first of the job.
    static constexpr std::size_t kMostTimelines = 60;

    Status status = Status::kNothingToWrite;  // what the process exits with
    bool hasBegun = false;       // the outputs were found fit, and the inputs were looked at
    bool hasReaderLeft = false;  // the output was a pipe that nobody reads any more
    bool isUntold = false;       // memory ran out when the output was there, before all was told
    std::vector<InputReport> inputs;  // one for each of the job, in its order
    std::string outputText;           // why there is no output, where it is instead, or what is
                                      // left beside it; else empty
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
[[nodiscard]] const char* NameOf(Mode mode);
[[nodiscard]] const char* NameOf(capture::ProblemKind kind);

}  // namespace velora::exact
