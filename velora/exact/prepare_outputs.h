// The outputs of a run before anything is read: whether they can be had.

#pragma once

#include "velora/exact/findings.h"
#include "velora/exact/job.h"
#include "velora/output/output_file.h"

namespace velora::exact {

// Prepares the output, and the report where one is asked for (else it is null), and tells what
// speaks against either: what exists before what cannot be written.
void PrepareOutputs(const ExactJob& job, output::OutputFile& output, output::OutputFile* report,
                    Findings& findings);

}  // namespace velora::exact
