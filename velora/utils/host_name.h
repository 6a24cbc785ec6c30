// The name of this machine.

#pragma once

#include <string>

#include "velora/utils/api.h"

namespace MiscUtils {

// The name as gethostname(2) gives it, of up to 63 characters; "hostname-error" when it cannot be
// had, which a longer name is enough for. Any thread may ask.
[[nodiscard]] VELORA_API std::string HostName();

}  // namespace MiscUtils
