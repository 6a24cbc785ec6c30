// Searching a directory tree for names that match a pattern.

#pragma once

#include <functional>
#include <string>

#include "velora/utils/api.h"

namespace velora::utils::proc {

// Calls `callback` with the path (`directory`, "/", the names below it) of every entry whose name
// matches the RE2 expression `pattern` anywhere:
// - regular files and sockets, in the order in which the system lists them;
// - directories into which the search went, each after all that is in it. The search goes `depth`
//   levels down: 0 stays in `directory` itself, below 0 is without limit.
// Entries of other types are passed over. Symbolic links count as what they lead to: a negative
// depth goes round a loop of links until the system refuses the path (ELOOP, ENAMETOOLONG).
// A directory that cannot be opened, be it for want of descriptors (one is held for each level), is
// left out in silence, and so is its own name.
//
// Each level down works with a copy of `callback`: what a callable keeps inside itself is not
// shared between levels. What it raises ends the search and passes through; an empty one raises
// std::bad_function_call at the first match.
//
// Example, which prints "/var/captures/monday/a.pcap" and its like:
//     FindFiles("/var/captures", "\\.pcap$", 1, [](const std::string& path) {
//         std::cout << path << "\n";
//     });
//
// False when `directory` cannot be opened, or when the pattern does not compile; true otherwise. A
// pattern that does not compile leaves `directory` open, one descriptor a call, for the life of the
// process: patterns of unknown origin are tried with RE2 first.
VELORA_API bool FindFiles(const std::string& directory, const std::string& pattern, int depth,
                          const std::function<void(const std::string&)>& callback);

}  // namespace velora::utils::proc
