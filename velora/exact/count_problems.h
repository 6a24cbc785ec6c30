// What the counts of a source mean for whoever trusts the output.

#pragma once

#include <vector>

#include "velora/capture/capture_traits.h"
#include "velora/capture/problem.h"
#include "velora/output/output_form.h"
#include "velora/output/source_counts.h"

namespace velora::exact {

// One problem for each count that is not zero, in words.
[[nodiscard]] std::vector<capture::Problem> ProblemsOf(const output::SourceCounts& counts,
                                                       const capture::CaptureTraits& traits,
                                                       const output::OutputForm& form);

}  // namespace velora::exact
