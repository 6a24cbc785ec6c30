// Times and durations are counted in nanoseconds.

#pragma once

#include <cstdint>

namespace velora::utils {

// In a second.
inline constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;

}  // namespace velora::utils
