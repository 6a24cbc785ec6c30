// Finding processes by their command lines, with /usr/bin/pgrep -f.
//
// `pattern` is pgrep's: an extended regular expression, looked for anywhere in the command line. It
// goes to the shell unquoted, so the caller quotes what the shell would take for its own, and
// passes nothing of unknown origin.
//
// The shell that runs pgrep has the pattern in its own command line, and is found where the pattern
// matches itself: "sleep" finds at least that shell, "'[s]leep'" finds other processes only. That
// is so where /bin/sh starts pgrep as a process of its own, as Debian's dash does; a shell that
// becomes pgrep itself, as bash does, is not found.
//
// Example:
//     int oldest = 0;
//     Pgrep("'[c]ollector --port 2055'", [&oldest](int id) { oldest = id; });
//
// Both set SIGCHLD to its default while they run: one thread at a time.

#pragma once

#include <functional>
#include <string>

#include "velora/utils/api.h"

namespace velora::utils::proc {

// Calls `callback` with the first process id that is found, which is the lowest; not at all when
// there is none. (The ids come one a line and are divided at blanks, so the lines make one token,
// and a token counts up to its first line end.) False when pgrep is not installed, true otherwise.
// Raises std::runtime_error "<error text> : RunPopen fail for pgrep <command> stdout=<output>" when
// it could not be run.
VELORA_API bool Pgrep(const std::string& pattern, const std::function<void(int)>& callback);

// True when the search finds anything: for a pattern that matches itself, always (see above for the
// shells of which that is true). False also when pgrep is not installed or could not be run.
[[nodiscard]] VELORA_API bool IsProcRunning(const std::string& pattern);

}  // namespace velora::utils::proc
