// What the standard descriptors, as they were handed to the process, say against a run.

#pragma once

#include <optional>
#include <string>

#include "velora/exact/job.h"
#include "velora/exact/status.h"

// Why they make the command line a wrong one: a capture never comes from a terminal, nor goes to
// one. Empty when they do not.
[[nodiscard]] std::string FaultOfTerminals(const velora::exact::ExactJob& job);

// A run that does not begin: its status, and the message, given without the name of the tool.
struct Refusal {
    velora::exact::Status status;
    std::string text;
};

// Whether the output or the report is a descriptor that was closed when the process began, be it
// under a name in /dev or /proc, or by a link to one.
[[nodiscard]] std::optional<Refusal> RefusalOfDescriptors(const velora::exact::ExactJob& job);
