// The report that --report asks for, behind the run that it is about.

#pragma once

#include "velora/exact/run.h"
#include "velora/exact/run_report.h"
#include "velora/output/output_file.h"

// Writes the report into the file that was prepared for it, and tells the listener what speaks
// against it. Gives the status that the run then has: a capture that is written stays, and is as
// good as it was, but the report was asked for too.
[[nodiscard]] velora::exact::Status WriteReport(velora::output::OutputFile& file,
                                                const velora::exact::RunSetting& setting,
                                                const velora::exact::RunReport& report,
                                                velora::exact::RunListener& listener);
