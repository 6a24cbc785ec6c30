// Configuration that arrives as an archive in memory.

#pragma once

#include <string>

#include "velora/utils/api.h"

namespace MiscUtils {

// Unpacks a gzip-compressed tar archive into the directory `targetDir`, by the `tar` program, over
// what is there. Always true: what became of the unpacking is not looked at, so a caller who has to
// know examines the directory; tar's complaints go to standard error.
//
// The archive passes through a temporary file in /tmp, which is gone again on every path. A file
// that cannot be made or written throws as MakeTempFile and WriteFile do, and a target that cannot
// be entered as velora::utils::proc::ScopedCWD does.
//
// The working directory of the process is `targetDir` during the call, and SIGCHLD has its default
// disposition: nothing else may use relative paths or wait for children meanwhile.
VELORA_API bool UnpackConfigArchive(const std::string& archive, const char* targetDir);

}  // namespace MiscUtils
