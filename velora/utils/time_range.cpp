#include "velora/utils/time_range.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "velora/utils/clock.h"
#include "velora/utils/time_text.h"

namespace MiscUtils {
namespace {

constexpr auto kReversedText = "TO  timestamp earlier than FROM timestamp ";

TimeVal32 CutTo32Bits(const timeval& time) {
    return {static_cast<std::int32_t>(time.tv_sec), static_cast<std::int32_t>(time.tv_usec)};
}

std::string FormatFault(const char* fromText, const char* toText) {
    std::string message = "Timestamps not in DD-MM-YYYY-HH:MM or DD-MM-YYYY format \nFrom = [";
    if (fromText == nullptr) {
        return message;
    }
    message.append(fromText).append("]\nTo   = [");
    if (toText == nullptr) {
        return message;
    }
    return message.append(toText).append("]");
}

// Puts the number at the start of `text` into `sec`, or 0 and throws `fault` when there is none.
void ReadSeconds(std::int32_t& sec, const char* text, const char* fault) {
    char* end = nullptr;
    sec = text == nullptr ? 0 : static_cast<std::int32_t>(std::strtol(text, &end, 10));
    if (end == text) {
        throw std::invalid_argument(fault);
    }
}

}  // namespace

void TimeRange::Set(const timeval& newFrom, const timeval& newTo) {
    from = CutTo32Bits(newFrom);
    to = CutTo32Bits(newTo);
}

void TimeRange::SetSeconds(std::int32_t fromSec, std::int32_t toSec) {
    from = {fromSec, 0};
    to = {toSec, 0};
}

void TimeRange::SetNow() {
    from = to = Now();
}

void TimeRange::Clear() {
    *this = {};
}

void TimeRange::Extend(const TimeVal32& time) {
    if (from.IsZero()) {
        from = to = time;
        return;
    }
    from = std::min(from, time);
    to = std::max(to, time);
}

void TimeRange::ExtendNow() {
    Extend(Now());
}

void TimeRange::Unite(const TimeRange& other) {
    from = std::min(from, other.from);
    to = std::max(to, other.to);
}

void TimeRange::UniteOrAdopt(const TimeRange& other) {
    if (from.IsZero()) {
        from = other.from;
    }
    Unite(other);
}

void TimeRange::Widen(std::uint32_t seconds) {
    const auto step = static_cast<std::int32_t>(seconds);  // the same bits: wrapping makes it one
    from.sec = detail::WrappingSubtract(from.sec, step);
    to.sec = detail::WrappingAdd(to.sec, step);
}

std::int32_t TimeRange::Seconds() const {
    return detail::WrappingSubtract(to.sec, from.sec);
}

bool TimeRange::Contains(const TimeVal32& time) const {
    return from <= time && time <= to;
}

bool TimeRange::ContainsRange(const TimeRange& other) const {
    return Contains(other.from) && Contains(other.to);
}

bool TimeRange::Overlaps(const TimeRange& other) const {
    return other.from < to && other.to > from;
}

bool TimeRange::IsAfter(const TimeVal32& time) const {
    return time > from && time > to;
}

void TimeRange::SetFromText(const char* fromText, const char* toText) {
    if (!ParseDateTime(from, fromText) || !ParseDateTime(to, toText)) {
        throw std::invalid_argument(FormatFault(fromText, toText));
    }
    if (from > to) {
        throw std::invalid_argument(kReversedText);
    }
}

void TimeRange::SetFromSecondsText(const char* fromText, const char* toText) {
    ReadSeconds(from.sec, fromText, "Invalid FROM timestamp seconds");
    ReadSeconds(to.sec, toText, "Invalid TO  timestamp seconds");
    if (to.sec < from.sec) {
        throw std::invalid_argument(kReversedText);
    }
}

std::string TimeRange::DurationText() const {
    const TimeVal32 length = to - from;
    const int hours = length.sec / 3600;
    const int minutes = (length.sec - hours * 3600) / 60;
    const int seconds = length.sec - length.sec / 60 * 60;
    std::array<char, 128> buffer{};
    std::snprintf(buffer.data(), buffer.size(), "%02dh %02dm %02ds %06du", hours, minutes, seconds,
                  length.usec);
    return buffer.data();
}

std::string TimeRange::SqlBetween() const {
    return " BETWEEN " + std::to_string(from.sec) + " AND " + std::to_string(to.sec) + " ";
}

TimeRange Intersect(TimeRange& a, const TimeRange& b) {
    a.from = std::max(a.from, b.from);
    a.to = std::min(a.to, b.to);
    return a;
}

}  // namespace MiscUtils
