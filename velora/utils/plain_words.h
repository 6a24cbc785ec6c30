// Numbers as they stand in messages.

#pragma once

#include <cstdint>
#include <string>

#include "velora/utils/api.h"

namespace velora::utils {

// "1 record", "2 records".
[[nodiscard]] VELORA_API std::string CountText(std::uint64_t count, const std::string& noun);

// Nanoseconds as seconds, with no more digits than they need: "0.25 s", "-3 s".
[[nodiscard]] VELORA_API std::string SecondsText(std::int64_t nanoseconds);

// "1.5 GB": three digits at most, in powers of ten as disks and networks have them.
[[nodiscard]] VELORA_API std::string ByteCountText(double bytes);

// "12 s", "3 min 20 s", "5 h 7 min".
[[nodiscard]] VELORA_API std::string DurationText(double seconds);

// Nanoseconds since 1970 as a moment in UTC, "2026-11-21 03:40:36", with that many digits (0 to 9)
// of the fraction behind it; what is finer is cut.
[[nodiscard]] VELORA_API std::string UtcText(std::int64_t nanoseconds, int digits = 0);

}  // namespace velora::utils
