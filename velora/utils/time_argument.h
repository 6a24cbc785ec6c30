// Times and durations as people give them to a program.

#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace velora::utils {

// Nanoseconds since 1970 of one of
//     2026-11-21T12:00:00[.fraction][Z | +hh:mm | -hh:mm]     without a zone: local time (TZ)
//     @[-]seconds[.fraction]                                  since 1970
// A fraction has one to nine digits. Nothing for any other text, for a date that no calendar has,
// and for a time that 64 bits do not hold.
[[nodiscard]] std::optional<std::int64_t> ParseTime(std::string_view text);

// Nanoseconds of "seconds[.fraction]", not negative.
[[nodiscard]] std::optional<std::int64_t> ParseSeconds(std::string_view text);

}  // namespace velora::utils
