// The picture of a report: the inputs on one axis of time, a bar for each, darker where more of its
// records lie. A squish has two, before and after.

#pragma once

#include "velora/exact/run_report.h"
#include "velora/report/markup.h"

namespace velora::report {

// HTML with SVG inside; nothing when no input has a record. Shows the first
// RunReport::kMostTimelines inputs, and says how many it leaves out.
void AddPicture(Markup& html, const exact::RunSetting& setting, const exact::RunReport& report);

}  // namespace velora::report
