// TickTime: what the 64-bit timestamps of a pcap-ng interface mean, by its option if_tsresol
// (draft-ietf-opsawg-pcapng).

#pragma once

#include <cstdint>

namespace velora::capture {

class TickTime {
 public:
    // `resolution` is the option's byte: 10 to the power of minus itself, or, with the top bit set,
    // 2 to the power of minus the other seven.
    explicit TickTime(std::uint8_t resolution);

    // Nanoseconds since 1970, for an interface whose if_tsoffset, in seconds, is `offset`: what is
    // finer is rounded down, what is out of range is the earliest or the latest time that 64 bits
    // hold.
    [[nodiscard]] std::int64_t Nanoseconds(std::uint64_t ticks, std::int64_t offset) const {
        std::int64_t time = 0;
        if (m_IsMultiple && offset == 0 && !__builtin_mul_overflow(ticks, m_Multiplier, &time))
            [[likely]] {
            return time;
        }
        return WideNanoseconds(ticks, offset);
    }

    // A tick is no whole number of microseconds.
    [[nodiscard]] bool IsFinerThanMicroseconds() const { return m_IsFine; }

 private:
    [[nodiscard]] std::int64_t WideNanoseconds(std::uint64_t ticks, std::int64_t offset) const;

    std::uint64_t m_Multiplier = 1000;  // ticks times this,
    std::uint64_t m_Divisor = 1;        // divided by this,
    std::uint8_t m_Shift = 0;           // and by 2 to the power of this, are nanoseconds
    bool m_IsMultiple = false;          // of nanoseconds: nothing is divided
    bool m_IsFine = false;
};

}  // namespace velora::capture
