#include "app/exact_descriptors.h"

#include <sys/stat.h>
#include <unistd.h>

#include "app/exact_messages.h"
#include "app/process_setup.h"

using velora::exact::ExactJob;
using velora::exact::InputName;
using velora::exact::Status;

namespace {

// What follows "<path>: "; empty for any other path.
std::string TextOfClosed(const std::string& path) {
    constexpr const char* kNames[] = {"standard input", "standard output", "standard error"};
    if (path == "-") {
        return WasClosedAtStart(STDOUT_FILENO) ? "is closed" : "";
    }
    const int descriptor = ClosedDescriptorAt(path);
    return descriptor < 0 ? "" : std::string("is ") + kNames[descriptor] + ", which is closed";
}

// Something has the name, and it is nothing that is written straight.
bool IsTaken(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 &&
           (stat(path.c_str(), &status) != 0 ||
            !(S_ISFIFO(status.st_mode) || S_ISCHR(status.st_mode)));
}

}  // namespace

std::string FaultOfTerminals(const ExactJob& job) {
    for (const InputName& input : job.inputs) {
        if (input.isStandardInput && isatty(STDIN_FILENO) == 1) {
            return "standard input is a terminal, which gives no capture";
        }
    }
    if (job.output == "-" && isatty(STDOUT_FILENO) == 1) {
        return "standard output is a terminal, which a capture would upset: redirect it";
    }
    return {};
}

std::optional<Refusal> RefusalOfDescriptors(const ExactJob& job) {
    const std::string ofOutput = TextOfClosed(job.output);
    const std::string ofReport = TextOfClosed(job.report);
    // What exists is refused before what cannot be written.
    if (ofOutput.empty() == ofReport.empty()) {
        return ofOutput.empty() ? std::nullopt
                                : std::optional(Refusal{Status::kCannotWrite,
                                                        ShownOutput(job) + ": " + ofOutput});
    }
    if (ofOutput.empty()) {
        return IsTaken(job.output)
                   ? Refusal{Status::kOutputExists, ShownOutput(job) + ": exists already"}
                   : Refusal{Status::kCannotWrite, ShownPath(job.report) + ": " + ofReport};
    }
    return IsTaken(job.report)
               ? Refusal{Status::kOutputExists, ShownPath(job.report) + ": exists already"}
               : Refusal{Status::kCannotWrite, ShownOutput(job) + ": " + ofOutput};
}
