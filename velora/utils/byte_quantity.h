// Amounts of bytes as text for people. No state; any thread may call these.
//
// An amount is divided by 1024 while it is greater than 1024, so exactly 1024 of a unit stays in
// that unit, and so does every negative amount. It is written with as many decimals as it was
// divided times: the larger the unit, the more a decimal is worth.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "velora/utils/api.h"

namespace MiscUtils {

// Writes `value` in "B", "KB", "MB", "GB" or, the fifth unit of this table, "Tbps", and returns
// `buffer`: "1024 B", "1.5 KB", "1.8190 Tbps". Beyond those units stand the divided number, with
// six decimals, and no unit; infinity is "inf". A text that does not fit into `size` bytes with its
// zero is cut; with size 0 nothing is written.
VELORA_API char* FormatByteRate(char* buffer, std::size_t size, double value);

// `value` in "B", "kB" (not the "KB" of FormatByteRate), "MB", "GB", "TB", "PB" or "EB": "0 B",
// "1.00 MB". Amounts beyond 2^53 are rounded to the nearest double.
[[nodiscard]] VELORA_API std::string FormatByteSize(std::int64_t value);

}  // namespace MiscUtils
