// The wall clock as the product's compact timestamp.
//
// Seconds and microseconds are those of gettimeofday(2), each cut to 32 bits: from 2038-01-19
// 03:14:08 UTC on the seconds wrap to negative numbers. The clock is the settable one of the
// system, so two readings may go backwards. Any thread may call these.

#pragma once

#include <cstdint>

#include "velora/utils/api.h"
#include "velora/utils/time_val32.h"

namespace MiscUtils {

// Stores the time of the call in `out`.
VELORA_API void GetTimeOfDay(TimeVal32& out);

// The time of the call.
[[nodiscard]] VELORA_API TimeVal32 Now();

// The seconds of Now(), widened with their sign: they wrap in 2038 as those of Now() do.
[[nodiscard]] VELORA_API std::int64_t NowSeconds();

}  // namespace MiscUtils
