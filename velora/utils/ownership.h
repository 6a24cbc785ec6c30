// Giving a directory or a file to another owner, only where that is still to be done.

#pragma once

#include <string>

#include <sys/types.h>

#include "velora/utils/api.h"

namespace MiscUtils {

// Sees to it that a directory or a regular file belongs to `uid` and `gid`; symbolic links are
// followed. True with `changed` false when it does already: no call is made then, so this needs no
// privileges. True with `changed` true when chown() succeeded. False with `changed` false when
// chown() failed, with its errno, and for anything that is neither a directory nor a regular file,
// a missing path included.
[[nodiscard]] VELORA_API bool ChownIfNeeded(const std::string& path, uid_t uid, gid_t gid,
                                            bool& changed);

}  // namespace MiscUtils
