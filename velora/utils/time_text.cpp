#include "velora/utils/time_text.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>

namespace MiscUtils {
namespace {

using TextBuffer = std::array<char, 256>;

std::tm LocalTime(const TimeVal32& time) {
    const std::time_t seconds = time.sec;
    std::tm local{};
    localtime_r(&seconds, &local);
    return local;
}

std::string AscText(const std::tm& local) {
    TextBuffer buffer{};
    std::string text(asctime_r(&local, buffer.data()));  // throws when asctime_r yields null
    text.pop_back();                                     // its newline
    return text;
}

// The attribute has the formats checked where the callers write them.
[[gnu::format(strftime, 2, 0)]] std::string LocalText(const TimeVal32& time, const char* format) {
    const std::tm local = LocalTime(time);
    TextBuffer buffer{};
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    const std::size_t length = std::strftime(buffer.data(), buffer.size(), format, &local);
#pragma GCC diagnostic pop
    return {buffer.data(), length};  // length 0, did it not fit: the buffer is undefined then
}

std::string MicrosecondSuffix(long microseconds) {
    std::array<char, 32> buffer{};
    std::snprintf(buffer.data(), buffer.size(), "-%06ld", microseconds);
    return buffer.data();
}

TimeVal32 FromLocalTime(std::tm local) {
    return {static_cast<std::int32_t>(std::mktime(&local)), 0};
}

}  // namespace

std::string AscTimeUsec(const TimeVal32& time) {
    return AscTime(time) + MicrosecondSuffix(static_cast<std::uint32_t>(time.usec));
}

std::string AscTimeZone(const TimeVal32& time) {
    const std::tm local = LocalTime(time);
    std::string text = AscText(local);
    if (local.tm_zone != nullptr) {
        text.append(" ").append(local.tm_zone);
    }
    return text;
}

std::string AscTime(const TimeVal32& time) {
    return AscText(LocalTime(time));
}

std::string Rfc2822Time(const TimeVal32& time) {
    return LocalText(time, "%a, %d %b %Y %T %z");
}

std::string ClockTimeUsec(const TimeVal32& time) {
    return LocalText(time, "%H:%M:%S") + MicrosecondSuffix(time.usec);
}

std::string DateHourMinute(const TimeVal32& time) {
    return LocalText(time, "%d-%m-%Y-%H:%M");
}

std::string DateHourMinuteDashed(const TimeVal32& time) {
    return LocalText(time, "%d-%m-%Y-%H-%M");
}

std::string DateHourMinuteForFileName(const TimeVal32& time) {
    return DateHourMinuteDashed(time);
}

std::string DateCompact(const TimeVal32& time) {
    return LocalText(time, "%d%m%Y");
}

int LocalHour(const TimeVal32& time) {
    return LocalTime(time).tm_hour;
}

void LocalHourMinSec(const TimeVal32& time, int& hour, int& min, int& sec) {
    const std::tm local = LocalTime(time);
    hour = local.tm_hour;
    min = local.tm_min;
    sec = local.tm_sec;
}

bool ParseDateTime(TimeVal32& out, const char* text) {
    if (text == nullptr) {
        return false;
    }
    int day = 0;
    int month = 0;
    int year = 0;
    std::tm local{};  // tm_isdst stays 0: standard time
    // Hour and minute keep what the first attempt stored, also when the second is the one to match.
    if (std::sscanf(text, "%d-%d-%d-%d:%d", &day, &month, &year, &local.tm_hour, &local.tm_min) !=
            5 &&
        std::sscanf(text, "%d-%d-%d", &day, &month, &year) != 3) {
        return false;
    }
    month = detail::WrappingSubtract(month, 1);
    if (year < 100) {
        year += 2000;
    }
    if (month > 12 || day > 32) {
        return false;
    }
    local.tm_mday = day;
    local.tm_mon = month;
    local.tm_year = year - 1900;
    out = FromLocalTime(local);
    return true;
}

bool ParseCTime(TimeVal32& out, const char* text) {
    std::tm local{};
    local.tm_isdst = -1;  // strptime leaves it alone; mktime finds out
    if (text == nullptr || strptime(text, "%a %b %d %H:%M:%S %Z %Y", &local) == nullptr) {
        return false;
    }
    out = FromLocalTime(local);
    return true;
}

}  // namespace MiscUtils
