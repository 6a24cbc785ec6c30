// TickTime: what the 64-bit timestamps of a pcap-ng interface mean, by its options if_tsresol and
// if_tsoffset (draft-ietf-opsawg-pcapng).

#pragma once

#include <cstdint>

namespace velora::capture {

class TickTime {
 public:
    // Microseconds since 1970, which is what an interface without options means.
    TickTime() : TickTime(6, 0) {}

    // `resolution` is the option's byte: 10 to the power of minus itself, or, with the top bit set,
    // 2 to the power of minus the other seven. `offset` is in seconds.
    TickTime(std::uint8_t resolution, std::int64_t offset);

    // Nanoseconds since 1970: what is finer is rounded down, what is out of range is the earliest
    // or the latest time that 64 bits hold.
    [[nodiscard]] std::int64_t Nanoseconds(std::uint64_t ticks) const;

    // A tick is no whole number of microseconds.
    [[nodiscard]] bool IsFinerThanMicroseconds() const { return m_IsFine; }

 private:
    std::uint64_t m_Multiplier = 1000;  // ticks times this,
    std::uint64_t m_Divisor = 1;        // divided by this,
    std::uint8_t m_Shift = 0;           // and by 2 to the power of this, are nanoseconds
    bool m_IsFine = false;
    std::int64_t m_Offset = 0;
};

}  // namespace velora::capture
