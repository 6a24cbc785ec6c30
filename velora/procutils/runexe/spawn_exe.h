// Starting a program in the background.

#pragma once

#include <string>

#include "velora/utils/api.h"

namespace velora::utils::proc {

// Starts `command`, watches its first two seconds, and returns its process id. Each run of white
// space in the command line (blanks, tabs, line ends, form feeds) divides arguments; there is no
// quoting. The call takes two seconds. The program is the caller's child, to be waited for by the
// caller, unless it has ended by then: it is then reaped, and the id names nothing any more. So it
// is for a program that could not be started, too: its process ends with status 255 and leaves a
// line in syslog. A program that ends later stays a zombie until the caller waits for it, and until
// then kill(id, 0) succeeds.
//
// Example:
//     const int collector = SpawnExe("/usr/sbin/collector --port 2055");
//     ...
//     kill(collector, SIGTERM);
//     waitpid(collector, nullptr, 0);
//
// Raises std::runtime_error:
// - with just what the program wrote to its standard error in that time (up to a zero byte, 256
//   bytes at most), when that is more than 10 bytes; the program may still run, and is not reaped:
//   as its id is not told, only a wait for any child (waitpid(-1, ...)) removes its zombie;
// - "<error text> : procutils/runexecvp/fork:" when there is no process to be had.
//
// The program does not inherit the caller's descriptors 3 to 31. These go before its standard error
// is attached to the watching pipe, and when the pipe is among them it goes too: in a process with
// few open descriptors the program keeps the caller's standard error, and no complaint of it is
// seen here.
//
// After that time nobody reads what the program writes there, and to go on writing is an error
// (EPIPE, and the signal SIGPIPE, which ends a program that does not handle it).
//
// Signals that the caller catches meanwhile do not shorten the two seconds. SIGCHLD is left alone.
// Any number of threads may spawn.
VELORA_API int SpawnExe(const std::string& command);

}  // namespace velora::utils::proc
