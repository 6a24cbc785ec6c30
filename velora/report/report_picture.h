// The picture of a report: the inputs on one axis of time, a bar for each, darker where more of its
// records lie. A squish has two, before and after.

#pragma once

#include <string>

#include "velora/exact/run_report.h"

namespace velora::report {

// HTML with SVG inside, styled by velora/report/report_style.h; empty when no input has a record.
// Shows the first RunReport::kMostTimelines inputs, and says how many it leaves out.
[[nodiscard]] std::string ReportPicture(const exact::RunSetting& setting,
                                        const exact::RunReport& report);

}  // namespace velora::report
