// The report of a run for people: one page of HTML, complete in itself. It has no scripts and
// refers to nothing outside, readable in light and dark, on wide screens, phones and paper.
//
// A summary, what is missing or doubtful, a picture of the inputs in time, and a table. Whatever
// stands in a path or a message is shown, and is never markup.

#pragma once

#include <string>

#include "velora/exact/run_report.h"
#include "velora/utils/api.h"

namespace velora::report {

// The page, as a whole file.
[[nodiscard]] VELORA_API std::string ReportPage(const exact::RunSetting& setting,
                                                const exact::RunReport& report);

}  // namespace velora::report
