// Standard error, where all messages go.

#pragma once

#include <string_view>

// Writes all of it, if standard error takes it; what it does not take is dropped, for nobody reads
// it. Waits where standard error does, as a pipe that is full or a terminal that was stopped.
void WriteToStandardError(std::string_view text) noexcept;
