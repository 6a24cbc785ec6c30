// TimeRange: the time from one timestamp to another, both included, with its set operations, its
// reading from user text and its rendering.
//
// A plain value: nothing keeps `from` at or before `to`, and only the two Set...Text operations
// check it. A `from` with both fields 0 means "not yet set" to Extend and UniteOrAdopt, and is an
// ordinary time to all others. Seconds wrap at 32 bits. Copies are independent; one object is for
// one thread at a time.
//
// Example:
//     MiscUtils::TimeRange range;
//     range.SetFromText("01-01-2021", "31-01-2021-23:59");
//     if (range.Contains(packetTime)) ...
//     query += "WHERE start" + range.SqlBetween();

#pragma once

#include <cstdint>
#include <string>

#include <sys/time.h>

#include "velora/utils/api.h"
#include "velora/utils/time_val32.h"

namespace MiscUtils {

struct VELORA_API TimeRange {
    TimeVal32 from;  // the first time within
    TimeVal32 to;    // the last

    // Equal in both ends.
    friend bool operator==(const TimeRange&, const TimeRange&) = default;

    // Seconds and microseconds are each cut to 32 bits.
    void Set(const timeval& newFrom, const timeval& newTo);

    // Both ends anew: to whole seconds, to the time of the call, to zero.
    void SetSeconds(std::int32_t fromSec, std::int32_t toSec);
    void SetNow();
    void Clear();

    // Stretches the range to include `time`, or the time of the call; a range whose `from` is zero
    // becomes that one time.
    void Extend(const TimeVal32& time);
    void ExtendNow();

    // Stretches the range to include `other`. A zero `from` is a time here (1970), and so stays the
    // earliest; UniteOrAdopt takes other.from for it instead, however late that is.
    void Unite(const TimeRange& other);
    void UniteOrAdopt(const TimeRange& other);

    // Moves `from` back and `to` on by so many seconds, wrapping.
    void Widen(std::uint32_t seconds);

    // to.sec - from.sec, wrapping: the microseconds do not count, so this may be a second more than
    // the whole seconds of DurationText.
    [[nodiscard]] std::int32_t Seconds() const;

    // Both ends belong to the range.
    [[nodiscard]] bool Contains(const TimeVal32& time) const;
    [[nodiscard]] bool ContainsRange(const TimeRange& other) const;

    // Ranges that only touch do not overlap; nor does a range of one time overlap itself.
    [[nodiscard]] bool Overlaps(const TimeRange& other) const;

    // Whether `time` lies after the range: past `from` and past `to`.
    [[nodiscard]] bool IsAfter(const TimeVal32& time) const;

    // Sets both ends from texts that ParseDateTime reads. Throws std::invalid_argument, when one
    // is not such a text:
    //     Timestamps not in DD-MM-YYYY-HH:MM or DD-MM-YYYY format
    //     From = [<fromText>]
    //     To   = [<toText>]
    // (a null text ends the message after its "["), and when `from` is later than `to`:
    //     TO  timestamp earlier than FROM timestamp
    // Both first lines end in a blank. An end that was read before the fault keeps its new value.
    void SetFromText(const char* fromText, const char* toText);

    // Sets the seconds of both ends from decimal numbers as strtol(3) reads them, cut to 32 bits;
    // what follows a number is not looked at, and the microseconds stay as they are. Throws
    // std::invalid_argument "Invalid FROM timestamp seconds" or "Invalid TO  timestamp seconds" for
    // a text (or null) that does not start with a number, after setting those seconds to 0, and the
    // "TO  timestamp earlier ..." text above when to.sec < from.sec, with both set.
    void SetFromSecondsText(const char* fromText, const char* toText);

    // "01h 01m 00s 200000u": hours, minutes, seconds and microseconds from `from` to `to`. When
    // `to` comes first, the signed parts of the difference show as they are.
    [[nodiscard]] std::string DurationText() const;

    // " BETWEEN <from.sec> AND <to.sec> ", with the blank at either end, for a query.
    [[nodiscard]] std::string SqlBetween() const;
};

// Cuts `a` down to what it shares with `b` and returns a copy of it. Ranges that share nothing
// leave a range whose `from` is later than its `to`; nothing checks that.
VELORA_API TimeRange Intersect(TimeRange& a, const TimeRange& b);

}  // namespace MiscUtils
