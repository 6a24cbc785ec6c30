// Running a shell command line and collecting what it prints, through popen(3).
//
// Both operations set SIGCHLD to its default while they run and put the previous disposition back:
// one thread at a time. They return when the command has ended; signals that the caller catches
// meanwhile do not shorten that. The command's standard error and standard input are the caller's
// own. The command line goes to the shell as it is: whoever puts a text of unknown origin into it
// must quote it.

#pragma once

#include <string>

#include "velora/utils/api.h"

namespace velora::utils::proc {

// Runs `command` and sets `output` to all that it wrote to its standard output. The result is the
// raw wait status (256 for "exit 1": see WIFEXITED and WEXITSTATUS in wait(2)), or -1 when the pipe
// could not be opened; `output` is then left as it was, and errno tells why. It is -1 also in the
// rare case that somebody else reaped the command, with `output` set.
//
// Example:
//     std::string listing;
//     const int status = RunPopen("ls -l /var/captures 2>&1", listing);
//     const bool succeeded = WIFEXITED(status) && WEXITSTATUS(status) == 0;
//
// The output is taken for text and read in lines of up to 1023 bytes: in a line that holds a zero
// byte, everything from the zero on is dropped, the end of the line included.
VELORA_API int RunPopen(const std::string& command, std::string& output);

// Runs `command` and returns true, whatever its exit status. When it could not be run at all
// (RunPopen gives -1), raises std::runtime_error
// "<error text> : RunPopen fail <command> stdout=<output>".
VELORA_API bool RunPopenOrThrow(const std::string& command);

}  // namespace velora::utils::proc
