// What a run has done in a sentence and five numbers, on the page of a report.

#pragma once

#include "velora/exact/run_report.h"
#include "velora/report/markup.h"

namespace velora::report {

// What was done of what: "merged by time from 5 inputs"; and how it ended.
void AddVerdict(Markup& html, const exact::RunSetting& setting, const exact::RunReport& report);

// Records, size, span of time, inputs, duration.
void AddFacts(Markup& html, const exact::RunSetting& setting, const exact::RunReport& report);

}  // namespace velora::report
