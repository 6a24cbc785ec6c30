#include "velora/report/time_axis.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>

#include "velora/utils/nanoseconds.h"
#include "velora/utils/plain_words.h"
#include "velora/utils/saturating.h"

namespace velora::report {
namespace {

using MiscUtils::SaturatingDifference;
using MiscUtils::SaturatingSum;

constexpr std::int64_t kMicrosecond = 1'000;
constexpr std::int64_t kMillisecond = 1'000'000;
constexpr std::int64_t kSecond = utils::kNanosecondsPerSecond;
constexpr std::int64_t kMinute = 60 * kSecond;
constexpr std::int64_t kHour = 60 * kMinute;
constexpr std::int64_t kDay = 24 * kHour;

constexpr std::int64_t kSteps[] = {
    kSecond,     2 * kSecond, 5 * kSecond,  10 * kSecond, 15 * kSecond, 30 * kSecond, kMinute,
    2 * kMinute, 5 * kMinute, 10 * kMinute, 15 * kMinute, 30 * kMinute, kHour,        2 * kHour,
    3 * kHour,   6 * kHour,   12 * kHour,   kDay,         2 * kDay,     5 * kDay,     10 * kDay};
constexpr int kMonthSteps[] = {1, 2, 3, 6, 12, 24, 60, 120, 240, 600, 1200};
constexpr double kMonth = 30.4 * static_cast<double>(kDay);

constexpr std::array<const char*, 12> kMonthNames = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

std::chrono::sys_days DayOf(std::int64_t time) {
    return std::chrono::floor<std::chrono::days>(
        std::chrono::sys_time<std::chrono::nanoseconds>(std::chrono::nanoseconds(time)));
}

std::string MonthName(std::chrono::year_month_day date) {
    return kMonthNames[static_cast<unsigned>(date.month()) - 1];
}

std::string Label(std::int64_t time, std::int64_t step) {
    const std::chrono::year_month_day date(DayOf(time));
    if (step >= kDay || (step >= kMinute && time % kDay == 0)) {
        return std::to_string(static_cast<unsigned>(date.day())) + " " + MonthName(date);
    }
    int digits = 0;
    for (std::int64_t unit = kSecond; step % unit != 0; unit /= 10) {
        ++digits;
    }
    return utils::UtcText(time, digits).substr(11, step < kMinute ? std::string::npos : 5);
}

std::string OffsetLabel(std::int64_t offset, std::int64_t step) {
    if (step % kMicrosecond == 0) {
        return "+" + std::to_string(offset / kMicrosecond) + " \u00B5s";
    }
    return "+" + std::to_string(offset) + " ns";
}

// The smallest step of 1, 2, 5, 10 and so on, or of the calendar, that is not smaller than `least`.
std::int64_t StepFor(double least) {
    for (std::int64_t unit = 1; unit < kSecond; unit *= 10) {
        for (const std::int64_t step : {unit, 2 * unit, 5 * unit}) {
            if (static_cast<double>(step) >= least) {
                return step;
            }
        }
    }
    const auto* const step = std::ranges::find_if(
        kSteps, [least](std::int64_t it) { return static_cast<double>(it) >= least; });
    return step != std::end(kSteps) ? *step : 0;
}

}  // namespace

TimeAxis::TimeAxis(std::int64_t from, std::int64_t to)
    : m_From(from == to ? SaturatingDifference(from, kSecond / 2) : from),
      m_To(from == to ? SaturatingSum(to, kSecond / 2) : to),
      m_Span(static_cast<double>(static_cast<std::uint64_t>(m_To) -
                                 static_cast<std::uint64_t>(m_From))) {}

double TimeAxis::Place(std::int64_t time) const {
    const std::uint64_t behind =
        static_cast<std::uint64_t>(time) - static_cast<std::uint64_t>(m_From);
    return static_cast<double>(behind) / m_Span;
}

std::vector<TimeAxis::Tick> TimeAxis::Ticks(std::size_t most) const {
    std::vector<Tick> ticks;
    const double least = m_Span / static_cast<double>(most);
    const std::int64_t step = StepFor(least);
    if (step > 0 && step < kMillisecond) {
        for (std::int64_t offset = 0; static_cast<double>(offset) < m_Span; offset += step) {
            ticks.push_back({static_cast<double>(offset) / m_Span, OffsetLabel(offset, step)});
        }
    } else if (step > 0) {
        // The first multiple of the step that is not earlier than the axis, which may begin at the
        // lowest time there is.
        const std::int64_t over = m_From % step;
        const std::int64_t gap = over > 0 ? step - over : -over;
        std::int64_t time = SaturatingSum(m_From, gap);
        for (; time < m_To; time = SaturatingSum(time, step)) {
            ticks.push_back({Place(time), Label(time, step)});
        }
    } else {
        const auto* const months = std::ranges::find_if(
            kMonthSteps, [least](int count) { return count * kMonth >= least; });
        const int count = months != std::end(kMonthSteps) ? *months : kMonthSteps[10];
        const std::chrono::year_month_day start(DayOf(m_From));
        const int number = (static_cast<int>(start.year()) * 12) / count * count;
        const std::chrono::year_month_day last(DayOf(m_To));
        const int end = static_cast<int>(last.year()) * 12 + 12;
        for (int month = number; month < end; month += count) {
            const std::chrono::year_month_day date(
                std::chrono::year(month / 12),
                std::chrono::month(static_cast<unsigned>(month % 12) + 1), std::chrono::day(1));
            const std::chrono::sys_days day(date);
            // Beyond what 64 bits of nanoseconds hold there are no ticks.
            if (day <= DayOf(m_From) || day > DayOf(m_To)) {
                continue;
            }
            const std::int64_t time = std::chrono::nanoseconds(day.time_since_epoch()).count();
            ticks.push_back({Place(time), (count < 12 ? MonthName(date) + " " : "") +
                                              std::to_string(month / 12)});
        }
    }
    return ticks;
}

}  // namespace velora::report
