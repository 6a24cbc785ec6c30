// The records of a run, from their sources through what is done with them to the output.

#pragma once

#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "velora/exact/job.h"
#include "velora/input/input_set.h"
#include "velora/output/ledger.h"
#include "velora/output/output_file.h"
#include "velora/output/output_form.h"

namespace velora::exact {

// Writes all records of the inputs to the file, which is open, and finishes it; nothing when `stop`
// was asked for before, and the file is then not finished. `names` are those of the sources, for
// interfaces. Throws std::bad_alloc and std::system_error, after which there is no output.
[[nodiscard]] std::optional<codec::OutputOutcome> WriteRecords(
    const ExactJob& job, const output::OutputForm& form, input::InputSet& inputs,
    std::vector<std::string> names, output::OutputFile& file, output::Ledger& ledger,
    const std::stop_token& stop);

}  // namespace velora::exact
