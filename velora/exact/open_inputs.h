// The inputs of a run, from their names to captures that are being read.

#pragma once

#include <cstddef>
#include <memory>
#include <stop_token>
#include <vector>

#include "velora/exact/findings.h"
#include "velora/exact/job.h"
#include "velora/exact/run_report.h"
#include "velora/input/input_set.h"
#include "velora/output/run_progress.h"

namespace velora::exact {

struct OpenedInputs {
    std::unique_ptr<input::InputSet> set;  // null where the run is at its end
    // Which input of the job each source of the set is.
    std::vector<std::size_t> inputOf;
};

// Opens every input, looks at the first block of each, and tells of those that cannot be read or
// are no captures, and, from then on, what is wrong with the others as their blocks are taken. So
// nothing is created before it is known what for. `report` learns what there is to know of each.
// `stop` ends the reading, then and later.
[[nodiscard]] OpenedInputs OpenInputs(const ExactJob& job, output::RunProgress& progress,
                                      RunReport& report, Findings& findings,
                                      const std::stop_token& stop);

}  // namespace velora::exact
