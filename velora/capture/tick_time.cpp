#include "velora/capture/tick_time.h"

#include <algorithm>
#include <limits>

#include "velora/utils/int128.h"
#include "velora/utils/nanoseconds.h"

namespace velora::capture {
namespace {

using utils::kNanosecondsPerSecond;
using Wide = utils::Int128;

constexpr std::uint8_t kIsPowerOfTwo = 0x80;
constexpr int kNanosecondDigits = 9;
constexpr int kMicrosecondDigits = 6;   // also the largest power of two that divides 10^6
constexpr int kLargestPowerOfTen = 19;  // that 64 bits hold

std::uint64_t PowerOfTen(int exponent) {
    std::uint64_t power = 1;
    for (; exponent > 0; --exponent) {
        power *= 10;
    }
    return power;
}

}  // namespace

TickTime::TickTime(std::uint8_t resolution) {
    const int exponent = resolution & ~kIsPowerOfTwo;
    m_IsFine = exponent > kMicrosecondDigits;
    if ((resolution & kIsPowerOfTwo) != 0) {
        m_Multiplier = kNanosecondsPerSecond;
        m_Shift = static_cast<std::uint8_t>(exponent);
    } else if (exponent <= kNanosecondDigits) {
        m_Multiplier = PowerOfTen(kNanosecondDigits - exponent);
    } else if (exponent - kNanosecondDigits <= kLargestPowerOfTen) {
        m_Multiplier = 1;
        m_Divisor = PowerOfTen(exponent - kNanosecondDigits);
    } else {
        m_Multiplier = 0;  // less than a nanosecond, however many ticks
    }
    m_IsMultiple = m_Divisor == 1 && m_Shift == 0;
}

std::int64_t TickTime::WideNanoseconds(std::uint64_t ticks, std::int64_t offset) const {
    Wide time = static_cast<Wide>(ticks) * static_cast<Wide>(m_Multiplier);
    time = m_Divisor == 1 ? time : time / static_cast<Wide>(m_Divisor);
    time >>= m_Shift;
    time += static_cast<Wide>(offset) * static_cast<Wide>(kNanosecondsPerSecond);
    using Limits = std::numeric_limits<std::int64_t>;
    return static_cast<std::int64_t>(
        std::clamp(time, static_cast<Wide>(Limits::min()), static_cast<Wide>(Limits::max())));
}

}  // namespace velora::capture
