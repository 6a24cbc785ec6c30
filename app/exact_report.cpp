#include "app/exact_report.h"

#include <cstdint>
#include <new>
#include <string>

#include "app/standard_error.h"
#include "velora/report/report_json.h"
#include "velora/report/report_page.h"

using velora::codec::OutputOutcome;
using velora::exact::RunListener;
using velora::exact::RunReport;
using velora::exact::RunSetting;
using velora::exact::Status;
using velora::output::OutputFile;

namespace {

using Kind = OutputOutcome::Kind;

constexpr const char* kCaptureStays = "; the capture is written all the same";

OutputOutcome Write(OutputFile& file, const RunSetting& setting, const RunReport& report) {
    const std::string text = setting.job.report.ends_with(".json")
                                 ? velora::report::ReportJson(setting, report)
                                 : velora::report::ReportPage(setting, report);
    OutputOutcome outcome = file.Open();
    if (outcome.IsGood()) {
        outcome = file.Write({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    }
    return outcome.IsGood() ? file.Finish() : outcome;
}

std::string TextAbout(const OutputOutcome& outcome, bool isCaptureWritten) {
    std::string text = outcome.text;
    if (outcome.kind == Kind::kTaken) {
        text += "; the finished report is " + outcome.keptAs;
    }
    return !outcome.IsGood() && isCaptureWritten ? text + kCaptureStays : text;
}

}  // namespace

Status WriteReport(OutputFile& file, const RunSetting& setting, const RunReport& report,
                   RunListener& listener) {
    Status failed = Status::kCannotWrite;
    try {
        const OutputOutcome outcome = Write(file, setting, report);
        if (outcome.kind == Kind::kTaken || outcome.kind == Kind::kExists) {
            failed = Status::kOutputExists;
        }
        if (const std::string text = TextAbout(outcome, report.IsWritten()); !text.empty()) {
            listener.OnReport(text);
        }
        if (outcome.IsGood()) {
            return report.status;
        }
    } catch (const std::bad_alloc&) {
        WriteToStandardError("seamtool: memory is exhausted, so there is no report");
        WriteToStandardError(report.IsWritten() ? kCaptureStays : "");
        WriteToStandardError("\n");
    }
    return report.IsWritten() ? failed : report.status;
}
