// Times as text and back, in UTC and in a zone with an odd offset and half an hour of daylight
// saving. An input: a byte whose lowest bit chooses the zone; two timestamps in binary, where it is
// long enough; and two texts with a line end between them, which overlap those.

#include "velora/utils/time_text.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <stdexcept>

#include "fuzz/fuzz_support.h"
#include "velora/utils/time_range.h"

using fuzz::Check;
using namespace MiscUtils;

namespace {

constexpr std::int32_t kDaylightSaving = 1800;
constexpr std::int32_t kYear = 366 * 86400;

void ChooseZone(bool isUtc) {
    static bool wasUtc = true;
    if (isUtc != wasUtc) {
        wasUtc = isUtc;
        setenv("TZ", isUtc ? "UTC0" : "LHST-10:30LHDT-11,M10.1.0,M4.1.0", 1);
        tzset();
    }
}

std::int32_t Difference(std::int32_t a, std::int32_t b) {
    return detail::WrappingSubtract(a, b);
}

void CheckRoundTrips(const TimeVal32& time) {
    int hour = 0;
    int minute = 0;
    int second = 0;
    LocalHourMinSec(time, hour, minute, second);
    Check(hour == LocalHour(time) && hour >= 0 && hour < 24 && minute >= 0 && minute < 60 &&
              second >= 0 && second < 60,
          "a time of the day");

    TimeVal32 parsed;
    Check(ParseDateTime(parsed, DateHourMinute(time).c_str()), "its own layout is read");
    const std::int32_t ahead = Difference(Difference(parsed.sec, time.sec), -second);
    // Before 1970 the C library applies the rules of 1970 to the moment as it is.
    Check(parsed.usec == 0 && (ahead == 0 || ahead == kDaylightSaving || time.sec < kYear),
          "to the minute, and as standard time");

    // "Mon Nov 16 02:44:43 2026 UTC": the zone goes before the year.
    const std::string text = AscTimeZone(time);
    const std::string moved = text.substr(0, 20) + text.substr(25) + text.substr(19, 5);
    Check(ParseCTime(parsed, moved.c_str()), "the layout of date(1) is read");
    const std::int32_t off = Difference(parsed.sec, time.sec);
    Check(off == 0 || off == kDaylightSaving || off == -kDaylightSaving,
          "to the second, but for the hour that comes twice");
    Check(AscTimeUsec(time).starts_with(AscTime(time)) && Rfc2822Time(time).size() == 31 &&
              ClockTimeUsec(time).size() >= 15 && DateCompact(time).size() == 8 &&
              DateHourMinuteForFileName(time).size() == 16,
          "the layouts have their lengths");
}

void CheckDuration(const TimeRange& range) {
    int hours = 0;
    int minutes = 0;
    int seconds = 0;
    int micros = 0;
    Check(std::sscanf(range.DurationText().c_str(), "%dh %dm %ds %du", &hours, &minutes, &seconds,
                      &micros) == 4,
          "a duration has four parts");
    const TimeVal32 length = range.to - range.from;
    Check(
        std::int64_t{hours} * 3600 + minutes * 60 + seconds == length.sec && micros == length.usec,
        "which add up");
    TimeRange widened = range;
    widened.Widen(static_cast<std::uint32_t>(range.from.usec));
    Check(Difference(widened.Seconds(), range.Seconds()) ==
              detail::WrappingAdd(range.from.usec, range.from.usec),
          "a range widens at both ends");
}

void CheckTexts(const char* from, const char* to) {
    const TimeVal32 before{-7, -8};
    TimeVal32 unused = before;
    Check(ParseCTime(unused, from) ? unused.usec == 0 : unused == before,
          "a refused text leaves the time alone");
    unused = before;
    Check(ParseDateTime(unused, from) ? unused.usec == 0 : unused == before, "so does this one");
    TimeRange expected{before, before};
    const bool areTimes = ParseDateTime(expected.from, from) && ParseDateTime(expected.to, to);
    TimeRange range{before, before};
    try {
        range.SetFromText(from, to);
        Check(areTimes && range.from <= range.to, "a range of two times in order");
    } catch (const std::invalid_argument&) {
        Check(!areTimes || range.from > range.to, "only other texts are refused");
    }
    Check(range == expected, "the ends are those of the texts");

    range = {before, before};
    try {
        range.SetFromSecondsText(from, to);
        Check(range.from.sec <= range.to.sec, "a range of seconds in order");
    } catch (const std::invalid_argument&) {
        Check(range.from.sec == 0 || range.to.sec == 0 || range.to.sec < range.from.sec,
              "only other numbers are refused");
    }
    const auto secondsOf = [](const char* text) {
        return static_cast<std::int32_t>(std::strtol(text, nullptr, 10));
    };
    Check(range.from.sec == secondsOf(from), "the seconds are those of the text");
    Check(range.to.sec == secondsOf(to) || (range.from.sec == 0 && range.to.sec == before.sec),
          "unless the first is none");
    Check(range.from.usec == before.usec && range.to.usec == before.usec,
          "microseconds stay as they were");
    CheckDuration(range);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    ChooseZone(data[0] % 2 == 0);
    const std::string from(reinterpret_cast<const char*>(data) + 1, size - 1);
    const std::size_t lineEnd = from.find('\n');
    const std::string to = lineEnd == std::string::npos ? "" : from.substr(lineEnd + 1);
    CheckTexts(from.substr(0, lineEnd).c_str(), to.c_str());
    TimeRange range;
    if (from.size() >= sizeof range) {
        std::memcpy(&range, from.data(), sizeof range);
        CheckDuration(range);
        CheckRoundTrips(range.from);
    }
    return 0;
}
