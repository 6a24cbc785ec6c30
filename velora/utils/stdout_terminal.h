// Whether the program is talking to a person.

#pragma once

#include "velora/utils/api.h"

namespace MiscUtils {

// True when standard output is a terminal whose name the system knows and that is longer than 3
// characters, such as "/dev/pts/4". A terminal that has no name in this file system (seen from
// another container, for example) counts as none.
[[nodiscard]] VELORA_API bool IsStdoutTerminal();

}  // namespace MiscUtils
