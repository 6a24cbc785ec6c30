#include "velora/exact/run_report.h"

#include <algorithm>

namespace velora::exact {

std::size_t ProblemList::CountWithoutNotes() const {
    return static_cast<std::size_t>(
        std::ranges::count_if(m_All, [](const capture::Problem& problem) {
            return problem.kind != capture::ProblemKind::kNote;
        }));
}

std::uint64_t RunReport::Sum(std::uint64_t output::SourceCounts::*count) const {
    std::uint64_t sum = 0;
    for (const InputReport& input : inputs) {
        sum += input.counts.*count;
    }
    return sum;
}

const char* NameOf(Mode mode) {
    switch (mode) {
        case Mode::kMerge:
            return "merge";
        case Mode::kConcatenate:
            return "concatenate";
        case Mode::kSquish:
            return "squish";
        case Mode::kSquish10:
            return "squish10";
    }
    return "";
}

const char* NameOf(capture::ProblemKind kind) {
    using capture::ProblemKind;
    switch (kind) {
        case ProblemKind::kCannotRead:
            return "cannot-read";
        case ProblemKind::kNoCapture:
            return "no-capture";
        case ProblemKind::kDamage:
            return "damage";
        case ProblemKind::kWrongChecksum:
            return "wrong-checksum";
        case ProblemKind::kLeftOut:
            return "left-out";
        case ProblemKind::kOutOfPlace:
            return "out-of-place";
        case ProblemKind::kTimeChanged:
            return "time-changed";
        case ProblemKind::kChanged:
            return "changed";
        case ProblemKind::kMayRepeat:
            return "may-repeat";
        case ProblemKind::kNote:
            return "note";
    }
    return "";
}

const char* TextOf(Status status) {
    switch (status) {
        case Status::kComplete:
            return "every record is in the output, in time order";
        case Status::kStopped:
            return "stopped before its end: nothing is left, but for what a pipe has taken";
        case Status::kNothingToWrite:
            return "nothing was written";
        case Status::kIncomplete:
            return "written, but something is missing, doubtful or out of place";
        case Status::kCannotWrite:
            return "the output could not be written";
        case Status::kOutputExists:
            return "the path of the output was taken";
        case Status::kWrongCommandLine:
            return "wrong command line";
    }
    return "";
}

}  // namespace velora::exact
