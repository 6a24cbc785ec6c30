// Arithmetic on 64-bit numbers that stops at the largest or the smallest one instead of wrapping.

#pragma once

#include <cstdint>
#include <limits>

namespace MiscUtils {

// one + other.
[[nodiscard]] constexpr std::int64_t SaturatingSum(std::int64_t one, std::int64_t other) {
    std::int64_t sum = 0;
    if (!__builtin_add_overflow(one, other, &sum)) {
        return sum;
    }
    using Limits = std::numeric_limits<std::int64_t>;
    return one < 0 ? Limits::min() : Limits::max();
}

// one - other.
[[nodiscard]] constexpr std::int64_t SaturatingDifference(std::int64_t one, std::int64_t other) {
    std::int64_t difference = 0;
    if (!__builtin_sub_overflow(one, other, &difference)) {
        return difference;
    }
    using Limits = std::numeric_limits<std::int64_t>;
    return one < 0 ? Limits::min() : Limits::max();
}

}  // namespace MiscUtils
