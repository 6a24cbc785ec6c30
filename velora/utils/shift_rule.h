// The shift rule: how one capture is played from another start on, so that its times never go back.
//
// Each record comes as long after the first as its own time says, plus a shift that begins with
// nothing. Where the times step back, the shift grows so that the record waits at the time reached;
// those behind it go on from there with their own spacing, until their own times have caught up.
//
// `Time` is a number or class of times with +, - and <; whether it wraps is its own.

#pragma once

namespace MiscUtils {

// The shift behind a record of the time `current`, which had the shift `shift`, for the one that
// follows it at `next`.
template <typename Time>
[[nodiscard]] constexpr Time NextShift(const Time& current, const Time& shift, const Time& next) {
    const Time reached = current + shift;
    if (next < current) {
        return reached - next;
    }
    return reached < next ? Time{} : shift;
}

}  // namespace MiscUtils
