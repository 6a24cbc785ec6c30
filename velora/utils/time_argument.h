// Times and durations as people give them to a program.

#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <variant>

#include "velora/utils/api.h"

namespace velora::utils {

// Which one is meant where local clocks go back, so that a local time occurs twice.
enum class TimeOfTwo : std::uint8_t { kEarlier, kLater };

// Why a text gives no time.
enum class TimeFault : std::uint8_t {
    kForm,         // no such form, a date that no calendar has, or a time that 64 bits do not hold
    kNeverOccurs,  // local clocks go forward over it
};

// Nanoseconds since 1970 of one of
//     2026-11-21T12:00:00[.fraction][Z | +hh:mm | -hh:mm]     without a zone: local time (TZ)
//     @[-]seconds[.fraction]                                  since 1970
// A fraction has one to nine digits. What comes out depends on the arguments and on TZ alone. Not
// while another thread changes TZ.
[[nodiscard]] VELORA_API std::variant<std::int64_t, TimeFault> ParseTime(std::string_view text,
                                                                         TimeOfTwo ofTwo);

// Nanoseconds of "seconds[.fraction]", not negative; nothing for any other text.
[[nodiscard]] VELORA_API std::optional<std::int64_t> ParseSeconds(std::string_view text);

}  // namespace velora::utils
