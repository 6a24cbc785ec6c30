// Copying text into a buffer of fixed size where a text that does not fit is a fault of the
// caller that must not pass: the process ends instead of going on with a cut name or address.

#pragma once

#include <span>
#include <string_view>

#include "velora/utils/api.h"

namespace MiscUtils {

// Copies `text` and a terminating zero into `buffer`. When they do not fit, writes
// "<what>: text of <n> bytes does not fit into <m>" and a newline to standard error and aborts the
// process (SIGABRT). `what` names the operation for that message.
VELORA_API void CopyBounded(std::span<char> buffer, std::string_view text,
                            std::string_view what) noexcept;

}  // namespace MiscUtils
