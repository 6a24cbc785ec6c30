#include "velora/utils/clock.h"

#include <sys/time.h>

namespace MiscUtils {

void GetTimeOfDay(TimeVal32& out) {
    timeval now{};
    gettimeofday(&now, nullptr);
    out.sec = static_cast<std::int32_t>(now.tv_sec);
    out.usec = static_cast<std::int32_t>(now.tv_usec);
}

TimeVal32 Now() {
    TimeVal32 now;
    GetTimeOfDay(now);
    return now;
}

std::int64_t NowSeconds() {
    return Now().sec;
}

}  // namespace MiscUtils
