// Timestamps as text in fixed layouts, and text as timestamps.
//
// All calendar times are local times of the process's zone (TZ, as tzset(3) reads it). Names of
// days and months are those of the process's locale where the layout comes from strftime(3) or
// strptime(3), and always English where it comes from asctime_r(3).
//
// Everything works on its arguments and its own buffers: any thread may call these.
//
// Example (TZ=UTC0):
//     MiscUtils::AscTimeUsec({1794797083, 123});      // "Mon Nov 16 02:44:43 2026-000123"
//     MiscUtils::TimeVal32 start;
//     if (!MiscUtils::ParseDateTime(start, "16-11-2026-02:44")) { ... }

#pragma once

#include <string>

#include "velora/utils/api.h"
#include "velora/utils/time_val32.h"

namespace MiscUtils {

// ---- Timestamp to text. Only AscTimeUsec and ClockTimeUsec look at the microseconds.
//
// The AscTime family throws std::logic_error when asctime_r fails, which no 32-bit time makes it
// do. The layouts of strftime are written into 256 bytes; a text that does not fit, which takes a
// locale with very long names, comes out empty.

// "Mon Nov 16 02:44:43 2026-000123". The microseconds are read as unsigned: -1 gives "-4294967295".
[[nodiscard]] VELORA_API std::string AscTimeUsec(const TimeVal32& time);

// "Mon Nov 16 02:44:43 2026 UTC", with the abbreviation of the zone in force at that time.
[[nodiscard]] VELORA_API std::string AscTimeZone(const TimeVal32& time);

// "Mon Nov 16 02:44:43 2026".
[[nodiscard]] VELORA_API std::string AscTime(const TimeVal32& time);

// "Mon, 16 Nov 2026 02:44:43 +0000".
[[nodiscard]] VELORA_API std::string Rfc2822Time(const TimeVal32& time);

// "02:44:43-000123". The microseconds keep their sign: -1 gives "--00001".
[[nodiscard]] VELORA_API std::string ClockTimeUsec(const TimeVal32& time);

// "16-11-2026-02:44", the layout that ParseDateTime reads.
[[nodiscard]] VELORA_API std::string DateHourMinute(const TimeVal32& time);

// "16-11-2026-02-44". The second name says at the call that the text becomes part of a file name.
[[nodiscard]] VELORA_API std::string DateHourMinuteDashed(const TimeVal32& time);
[[nodiscard]] VELORA_API std::string DateHourMinuteForFileName(const TimeVal32& time);

// "16112026".
[[nodiscard]] VELORA_API std::string DateCompact(const TimeVal32& time);

// The hour of the day, 0..23.
[[nodiscard]] VELORA_API int LocalHour(const TimeVal32& time);

// Hour 0..23, minute 0..59, second 0..59 (60 only in zones that count leap seconds).
VELORA_API void LocalHourMinSec(const TimeVal32& time, int& hour, int& min, int& sec);

// ---- Text to timestamp. True on success, with `out` set and its microseconds 0; on false, and
// for a null text, `out` is as it was. A time that 32 bits do not hold is cut to them, and one
// that mktime(3) cannot express is stored as second -1.

// Reads "DD-MM-YYYY-HH:MM", or "DD-MM-YYYY" for its midnight, always as standard time: in summer
// the result lies behind what the local clock calls that time by the daylight saving.
//
// The reader is lenient, with sscanf(3): blanks before a number, missing leading zeros, signs and
// anything after the date pass, and a year below 100 counts from 2000. "01-02-2020-10" is
// 10:00, since an hour without minutes is kept. Days to 32 and months to 13 are accepted, zero and
// negative ones too, and are normalised as mktime does: "32-13-2020" is 1 February 2021. Of
// numbers beyond 32 bits sscanf keeps the low bits.
[[nodiscard]] VELORA_API bool ParseDateTime(TimeVal32& out, const char* text);

// Reads "Mon Nov 16 02:44:43 UTC 2026", the layout of date(1) and not that of AscTimeZone, whose
// zone comes last. The zone must be there, but its name is skipped: the time is local whatever it
// says, and daylight saving applies if the local zone observes it at that time. The name of the
// day is not held against the date, and what follows the year is not looked at.
[[nodiscard]] VELORA_API bool ParseCTime(TimeVal32& out, const char* text);

}  // namespace MiscUtils
