#include "velora/exact/prepare_outputs.h"

#include <algorithm>
#include <optional>

#include <sys/stat.h>
#include <unistd.h>

namespace velora::exact {
namespace {

using codec::OutputOutcome;
using output::FileIdentity;

bool IsInput(const ExactJob& job, const std::optional<FileIdentity>& file) {
    return file && std::ranges::any_of(job.inputs, [&](const InputName& input) {
               struct stat status {};
               const bool isThere =
                   (input.isStandardInput ? fstat(STDIN_FILENO, &status)
                                          : stat(input.path.c_str(), &status)) == 0;
               return isThere && FileIdentity{status.st_dev, status.st_ino} == *file;
           });
}

}  // namespace

void PrepareOutputs(const ExactJob& job, output::OutputFile& output, output::OutputFile* report,
                    Findings& findings) {
    const OutputOutcome ofOutput = output.Prepare(job.output);
    if (IsInput(job, output.GetIdentity())) {
        return findings.AddOutputIsInput();
    }
    if (report == nullptr || ofOutput.kind == OutputOutcome::Kind::kExists) {
        return findings.AddOutput(ofOutput);
    }
    const OutputOutcome ofReport = report->Prepare(job.report);
    if (IsInput(job, report->GetIdentity())) {
        return findings.AddReportRefused("it is one of the inputs");
    }
    if (report->IsSameAs(output)) {
        return findings.AddReportRefused("it is the output as well");
    }
    if (ofReport.kind == OutputOutcome::Kind::kExists) {
        return findings.AddReport(ofReport);
    }
    findings.AddOutput(ofOutput);
    if (ofOutput.IsGood()) {
        findings.AddReport(ofReport);
    }
}

}  // namespace velora::exact
