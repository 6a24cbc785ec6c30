// What the standard descriptors, as they were handed to the process, say against a run.

#pragma once

#include <string>

#include "velora/exact/job.h"

// Why they make the command line a wrong one: a capture never comes from a terminal, nor goes to
// one. Empty when they do not.
[[nodiscard]] std::string FaultOfTerminals(const velora::exact::ExactJob& job);
