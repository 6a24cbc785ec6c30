#include "velora/exact/status.h"

namespace velora::exact {

Status StatusOf(const RunFacts& facts) {
    using Kind = RunFacts::OutputKind;
    const auto exists = [](Kind kind) { return kind == Kind::kExists || kind == Kind::kTaken; };
    if (facts.isPathRefused || exists(facts.output) || exists(facts.report)) {
        return Status::kOutputExists;
    }
    if (facts.output == Kind::kCannot || facts.report == Kind::kCannot) {
        return Status::kCannotWrite;
    }
    if (facts.hasNothingToWrite) {
        return Status::kNothingToWrite;
    }
    return facts.isDoubtful ? Status::kIncomplete : Status::kComplete;
}

const char* TextOf(Status status) {
    switch (status) {
        case Status::kComplete:
            return "every record is in the output, in time order";
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
