// What is missing or doubtful, on the page of a report.

#pragma once

#include <string>

#include "velora/exact/run_report.h"
#include "velora/report/markup.h"

namespace velora::report {

// The problems of all inputs in the order of the inputs; nothing when nothing was told.
void AddProblems(Markup& html, const exact::RunSetting& setting, const exact::RunReport& report);

// Whether records are lost, or may be wrong; otherwise they are changed or out of place.
[[nodiscard]] bool HasLoss(const exact::ProblemList& problems);

// The id of what was told of an input, counted from 0.
[[nodiscard]] std::string ProblemsId(std::size_t input);

}  // namespace velora::report
