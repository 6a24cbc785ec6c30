// The exact mode as a program: from the words behind "--exact" to the status of the run.

#pragma once

#include <cstdint>

// Runs the exact mode, whose first argument is "--exact". Messages go to standard error; standard
// output carries nothing but what is asked for there. Ends the process by SIGPIPE when the output
// is a pipe that nobody reads any more.
[[nodiscard]] std::int32_t RunExactDriver(int argc, char** argv);
