// ShiftClock: plays the times of one capture from zero on, so that they never go back.
//
// Each record comes as long after the first as its own time says. Where the times step back, the
// records wait at the time reached and go on from there with their own spacing, until their own
// times have caught up.
//
// `Time` is a number or class of times with +, - and <: whether it wraps or saturates is its own.

#pragma once

namespace MiscUtils {

template <typename Time>
class ShiftClock {
 public:
    // Stands on the first record.
    explicit ShiftClock(Time start) : m_Start(start), m_Current(start) {}

    // Stands on the next record, whose own time is `next`.
    void Advance(Time next) {
        const Time reached = m_Current + m_Shift;
        if (next < m_Current) {
            m_Shift = reached - next;
        } else if (reached < next) {
            m_Shift = Time{};
        }
        m_Current = next;
    }

    // The time of the record it stands on, since the first record.
    [[nodiscard]] Time Elapsed() const { return (m_Current - m_Start) + m_Shift; }

 private:
    Time m_Start;
    Time m_Current;
    Time m_Shift{};
};

}  // namespace MiscUtils
