// TimeVal32: the compact timestamp of the product, and its arithmetic.
//
// Seconds since 1970-01-01 UTC and microseconds, both signed 32-bit. A value with both fields 0
// means "unset" where an operation says so. A plain value: copied freely, shared with no lock.

#pragma once

#include <compare>
#include <cstdint>

namespace MiscUtils {

struct TimeVal32 {
    std::int32_t sec = 0;   // since 1970-01-01 UTC
    std::int32_t usec = 0;  // 0..999999 in valid data; captures may hold anything

    // By seconds, then by microseconds, as signed numbers.
    // NOLINTNEXTLINE(modernize-use-nullptr): a false alarm on what the compiler generates
    friend constexpr auto operator<=>(const TimeVal32&, const TimeVal32&) = default;

    // Both fields 0: "unset", where an operation says so.
    [[nodiscard]] constexpr bool IsZero() const { return sec == 0 && usec == 0; }
};

namespace detail {

// Two's-complement arithmetic that wraps: timestamps come from untrusted files.
constexpr std::int32_t WrappingAdd(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

constexpr std::int32_t WrappingSubtract(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}

}  // namespace detail

// Sum and difference, field by field, wrapping at 32 bits. At most one second is carried or
// borrowed: operands whose microseconds are far out of range give a result that is out of range.
constexpr TimeVal32 operator+(const TimeVal32& a, const TimeVal32& b) {
    TimeVal32 sum{detail::WrappingAdd(a.sec, b.sec), detail::WrappingAdd(a.usec, b.usec)};
    if (sum.usec > 999999) {
        sum.usec -= 1000000;
        sum.sec = detail::WrappingAdd(sum.sec, 1);
    }
    return sum;
}

// See the sum.
constexpr TimeVal32 operator-(const TimeVal32& a, const TimeVal32& b) {
    TimeVal32 difference{detail::WrappingSubtract(a.sec, b.sec),
                         detail::WrappingSubtract(a.usec, b.usec)};
    if (difference.usec < 0) {
        difference.usec += 1000000;
        difference.sec = detail::WrappingSubtract(difference.sec, 1);
    }
    return difference;
}

}  // namespace MiscUtils
