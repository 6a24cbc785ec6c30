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
    if (facts.isStopped) {
        return Status::kStopped;
    }
    if (facts.hasNothingToWrite) {
        return Status::kNothingToWrite;
    }
    return facts.isDoubtful ? Status::kIncomplete : Status::kComplete;
}

}  // namespace velora::exact
