// Pid files: what the process named by one is up to, and stopping it.
//
// A pid file is a regular file that starts with a process id in decimal. Two readings of it differ,
// and stay so:
// - as a number: white space before it and anything behind its digits do not count; without digits
//   std::invalid_argument ("stoi") is raised, beyond 32 bits std::out_of_range;
// - as the text in /proc/<text>/cmdline: taken whole, so that a file whose id is followed by a line
//   end names no process there. Only pid files without one can be matched, waited for and stopped.
//   A file with another name of /proc in it, such as "self", can be matched and waited for, but not
//   stopped: that takes the number. "1/../self" has both: it is matched as the calling process and
//   stopped as process 1. So StopProc() is for files that nobody else may write.
//
// `pattern` is an RE2 expression, looked for anywhere in the first line of the process's command
// line, in which a zero byte follows each argument. A pattern that does not compile matches
// nothing.
//
// Example:
//     if (StopProc("/run/collector.pid", "^/usr/sbin/collector") &&
//         WaitWhileRunning("/run/collector.pid", "^/usr/sbin/collector", 5)) {
//         // still there after 5 seconds
//     }
//
// Another process may get the id at any time; an answer is about a moment that has passed.

#pragma once

#include <string>

#include "velora/utils/api.h"

namespace velora::utils::proc {

// True when signal 0 can be sent to the process, or is refused for any reason but that there is
// none: other users' processes are alive as well. A zombie is alive. False when `pidFile` is not a
// regular file or holds no number. The numbers 0 and below stand for process groups, as for
// kill(2): 0 and, nearly always, -1 are alive. Raises std::runtime_error when the file cannot be
// read.
[[nodiscard]] VELORA_API bool IsPidFileAlive(const std::string& pidFile);

// Whether the file holds the id of the calling process. Raises what reading the file or its number
// raises.
[[nodiscard]] VELORA_API bool IsOwnPidFile(const std::string& pidFile);

// Whether the process exists and its command line matches. A zombie's command line is empty. False
// when `pidFile` is not a regular file. Raises std::runtime_error when the file cannot be read.
[[nodiscard]] VELORA_API bool PidFileMatches(const std::string& pidFile,
                                             const std::string& pattern);

// Waits for PidFileMatches() to turn false, looking once a second and up to `seconds` times. True
// when it has not: the process is still running. 0 seconds give true without a look; below 0 the
// wait has no limit. A signal that the caller catches meanwhile does not shorten the wait.
[[nodiscard]] VELORA_API bool WaitWhileRunning(const std::string& pidFile,
                                               const std::string& pattern, int seconds);

// Kills the process (SIGKILL) when PidFileMatches(); returns whether it did, without waiting for
// the end. Raises what reading the file or its number raises, and std::runtime_error
// "<error text> : StopProc : failed to kill process" when the signal is refused. A number of 0 or
// below never kills: no such process has a command line.
VELORA_API bool StopProc(const std::string& pidFile, const std::string& pattern);

}  // namespace velora::utils::proc
