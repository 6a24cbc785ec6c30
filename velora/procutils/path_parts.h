// The two parts of a path, as new texts. No file is looked at. Any thread may use them.

#pragma once

#include <string>

#include "velora/utils/api.h"

namespace velora::utils::proc {

// The directory part, as POSIX dirname(3) gives it: "/a/b" gives "/a", "b" gives ".", "/" gives
// "/". It is worked out in a buffer for paths of up to 1024 bytes; a longer path ends the process
// (SIGABRT).
[[nodiscard]] VELORA_API std::string DirName(const std::string& path);

// The last component, as POSIX basename(3) gives it: slashes at the end do not count ("/a/b/" gives
// "b"), "/" gives "/" and an empty path gives ".". Paths of any length.
[[nodiscard]] VELORA_API std::string BaseName(const std::string& path);

}  // namespace velora::utils::proc
