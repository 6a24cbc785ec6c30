// The inputs and the output of a run in numbers, on the page of a report.

#pragma once

#include "velora/exact/run_report.h"
#include "velora/report/markup.h"

namespace velora::report {

// A row for each input, and one for the output.
void AddTable(Markup& html, const exact::RunSetting& setting, const exact::RunReport& report);

}  // namespace velora::report
