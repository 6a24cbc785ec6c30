#include <climits>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <variant>

#include <gtest/gtest.h>

#include "tests/support/file_trees.h"
#include "velora/utils/clock.h"
#include "velora/utils/saturating.h"
#include "velora/utils/time_argument.h"
#include "velora/utils/time_range.h"
#include "velora/utils/time_text.h"

namespace MiscUtils {
namespace {

using T = TimeVal32;
using R = TimeRange;

TEST(SaturatingTest, StopsAtTheEnds) {
    constexpr std::int64_t kMost = INT64_MAX, kLeast = INT64_MIN;
    EXPECT_EQ(SaturatingSum(kMost - 1, 1), kMost);
    EXPECT_EQ(SaturatingSum(kMost, 1), kMost);
    EXPECT_EQ(SaturatingSum(kLeast + 1, -1), kLeast);
    EXPECT_EQ(SaturatingSum(kLeast, -1), kLeast);
    EXPECT_EQ(SaturatingSum(kLeast, kMost), -1);
    EXPECT_EQ(SaturatingDifference(kLeast, 1), kLeast);
    EXPECT_EQ(SaturatingDifference(kMost, -1), kMost);
    EXPECT_EQ(SaturatingDifference(-1, kLeast), kMost);
    EXPECT_EQ(SaturatingDifference(0, kLeast), kMost);
}

TEST(TimeVal32Test, CarriesOneSecondAndWraps) {
    EXPECT_EQ((T{1, 500000} + T{2, 499999}), (T{3, 999999}));
    EXPECT_EQ((T{1, 500000} + T{2, 500000}), (T{4, 0}));
    EXPECT_EQ((T{0, 1500000} + T{INT_MAX, 1500000}), (T{INT_MIN, 2000000}));
    EXPECT_EQ((T{3, 100} - T{1, 100}), (T{2, 0}));
    EXPECT_EQ((T{INT_MIN, 0} - T{0, 1}), (T{INT_MAX, 999999}));
    EXPECT_TRUE((T{-1, 999999} < T{0, -1}) && (T{0, -1} < T{0, 0}));
}

constexpr R kTens{{10, 1}, {20, 2}};

R After(R range, auto operation, const auto&... arguments) {
    (range.*operation)(arguments...);
    return range;
}

TEST(TimeRangeTest, IsSetExtendedAndWidened) {
    EXPECT_EQ(After(kTens, &R::Set, timeval{(1LL << 32) + 5, (1LL << 33) - 1}, timeval{7, 8}), (R{{5, -1}, {7, 8}}));
    EXPECT_EQ(After(kTens, &R::SetSeconds, 9, -3), (R{{9, 0}, {-3, 0}}));
    EXPECT_EQ(After(kTens, &R::Clear), R{});
    EXPECT_EQ(After({{0, 0}, {20, 2}}, &R::Extend, T{5, 6}), (R{{5, 6}, {5, 6}})) << "unset";
    EXPECT_EQ(After({{0, 1}, {20, 2}}, &R::Extend, T{5, 6}), (R{{0, 1}, {20, 2}}));
    EXPECT_EQ(After({{20, 0}, {10, 0}}, &R::Extend, T{15, 0}), (R{{15, 0}, {15, 0}})) << "reversed";
    EXPECT_EQ(After({{INT_MIN, 1}, {INT_MAX, 2}}, &R::Widen, 3U), (R{{INT_MAX - 2, 1}, {INT_MIN + 2, 2}}));
}

TEST(TimeRangeTest, IsUnitedOrIntersectedWithAnother) {
    EXPECT_EQ(After(kTens, &R::Unite, R{{9, 9}, {20, 3}}), (R{{9, 9}, {20, 3}}));
    EXPECT_EQ(After(kTens, &R::Unite, R{{10, 2}, {20, 1}}), kTens);
    EXPECT_EQ(After({}, &R::Unite, kTens), (R{{0, 0}, {20, 2}}));
    EXPECT_EQ(After({{0, 0}, {30, 0}}, &R::UniteOrAdopt, kTens), (R{{10, 1}, {30, 0}})) << "an unset end is taken over";
    EXPECT_EQ(After({{0, 1}, {1, 0}}, &R::UniteOrAdopt, kTens), (R{{0, 1}, {20, 2}}));
    R range = kTens;
    Intersect(range, {{30, 0}, {40, 0}});
    EXPECT_EQ(range, (R{{30, 0}, {20, 2}})) << "in whatever order its ends are";
}

TEST(TimeRangeTest, NowAgreesWithTheSystemsSeconds) {
    const std::time_t before = std::time(nullptr);
    R range;
    range.SetNow();
    EXPECT_TRUE(before <= range.from.sec && range.from == range.to);
    range = After({{1, 0}, {}}, &R::ExtendNow);
    EXPECT_TRUE(range.from == (T{1, 0}) && before <= range.to.sec && range.to <= Now());
    // time(2) may read a tick behind gettimeofday(2), so the end is a second later.
    EXPECT_TRUE(range.to.sec <= NowSeconds() && NowSeconds() <= std::time(nullptr) + 1);
    EXPECT_TRUE(0 <= range.to.usec && range.to.usec <= 999999) << range.to.usec;
}

TEST(TimeRangeTest, QuestionsAtTheEnds) {
    const R range{{10, 5}, {20, 5}};
    EXPECT_TRUE(range.ContainsRange(range) && range.Overlaps({{20, 4}, {30, 0}}) && range.Overlaps({{0, 0}, {10, 6}}));
    EXPECT_FALSE(range.Contains({10, 4}) || range.Contains({20, 6}));
    EXPECT_FALSE(range.ContainsRange({{10, 4}, {20, 5}}) || range.ContainsRange({{10, 5}, {20, 6}}));
    EXPECT_FALSE(range.Overlaps({{20, 5}, {30, 0}}) || range.Overlaps({{0, 0}, {10, 5}}));
    EXPECT_TRUE(range.IsAfter({20, 6}) && !range.IsAfter({20, 5}));
    EXPECT_FALSE(R({{20, 0}, {10, 0}}).IsAfter({20, 0}));
}

// The replay of fuzz/time_text.cpp adds the parts of all durations up.
TEST(TimeRangeTest, LengthAndTexts) {
    const R hour{{100, 900000}, {3761, 100000}};
    EXPECT_EQ(hour.Seconds(), 3661);
    EXPECT_EQ(hour.DurationText(), "01h 01m 00s 200000u");
    EXPECT_EQ(R({{3661, 0}, {0, 1}}).DurationText(), "-1h -1m -1s 000001u");
    EXPECT_EQ(R({{1, 0}, {INT_MIN, 0}}).SqlBetween(), " BETWEEN 1 AND -2147483648 ");
}

// The replay of fuzz/time_text.cpp sees what ends the texts give.
TEST(TimeRangeTest, TellsWhyItRefusesTexts) {
    R range;
    const auto ofDates = [&](const char* from, const char* to) {
        return ErrorOf<std::invalid_argument>([&] { range.SetFromText(from, to); });
    };
    const std::string reversed = "TO  timestamp earlier than FROM timestamp ";
    const std::string bad = "Timestamps not in DD-MM-YYYY-HH:MM or DD-MM-YYYY format \nFrom = [";
    EXPECT_EQ(ofDates("1-1-2021", "1-1-2021"), "no error");
    EXPECT_EQ(ofDates("1-1-2021", "31-12-2020"), reversed);
    EXPECT_EQ(ofDates("2021/1/1", "1-1-2021"), bad + "2021/1/1]\nTo   = [1-1-2021]");
    EXPECT_EQ(ofDates("1-1-2021", nullptr), bad + "1-1-2021]\nTo   = [");
    EXPECT_EQ(ofDates(nullptr, "1-1-2021"), bad);
    const auto ofSeconds = [&](const char* from, const char* to) {
        return ErrorOf<std::invalid_argument>([&] { range.SetFromSecondsText(from, to); });
    };
    EXPECT_EQ(ofSeconds("010", "10"), "no error") << "decimal";
    EXPECT_EQ(ofSeconds("0", "2147483648"), reversed) << "cut to 32 bits";
    EXPECT_EQ(ofSeconds(nullptr, "9"), "Invalid FROM timestamp seconds");
    EXPECT_EQ(ofSeconds("5", ""), "Invalid TO  timestamp seconds");
}

constexpr auto kUtc = "UTC0";
constexpr auto kLordHowe = "LHST-10:30LHDT-11,M10.1.0,M4.1.0";  // half an hour of daylight saving

void Enter(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
}

std::string AllTexts(const TimeVal32& time) {
    int clock[3] = {-1, -1, -1};
    LocalHourMinSec(time, clock[0], clock[1], clock[2]);
    return AscTime(time) + "/" + AscTimeZone(time) + "/" + AscTimeUsec(time) + "/" + Rfc2822Time(time) + "/" +
           ClockTimeUsec(time) + "/" + DateHourMinute(time) + "/" + DateHourMinuteDashed(time) + "/" +
           DateHourMinuteForFileName(time) + "/" + DateCompact(time) + "/" + std::to_string(LocalHour(time)) + "=" +
           std::to_string(clock[0]) + ":" + std::to_string(clock[1]) + ":" + std::to_string(clock[2]);
}

TEST(TimeTextTest, LayoutsInBothHalvesOfTheYear) {
    Enter(kLordHowe);
    EXPECT_EQ(AllTexts({1594000000, -1}),  // winter
              "Mon Jul  6 12:16:40 2020/Mon Jul  6 12:16:40 2020 LHST/Mon Jul  6 12:16:40 2020-"
              "4294967295/Mon, 06 Jul 2020 12:16:40 +1030/12:16:40--00001/06-07-2020-12:16/"
              "06-07-2020-12-16/06-07-2020-12-16/06072020/12=12:16:40");
    EXPECT_EQ(AllTexts({INT_MIN, 123}),  // summer
              "Sat Dec 14 07:45:52 1901/Sat Dec 14 07:45:52 1901 LHDT/Sat Dec 14 07:45:52 1901-000123/"
              "Sat, 14 Dec 1901 07:45:52 +1100/07:45:52-000123/14-12-1901-07:45/14-12-1901-07-45/"
              "14-12-1901-07-45/14121901/7=7:45:52");
}

// The seconds that are read; the replay of fuzz/time_text.cpp sees that refused texts leave the time alone.
std::optional<std::int32_t> SecondsOf(bool (*parse)(T&, const char*), const char* text) {
    T time;
    return parse(time, text) ? std::optional(time.sec) : std::nullopt;
}

TEST(TimeTextTest, ParsesDateTimeAsStandardTime) {
    const auto seconds = [](const char* text) { return SecondsOf(ParseDateTime, text); };
    Enter(kLordHowe);
    EXPECT_EQ(seconds("01-01-2021-00:00"), 1609459200 - 37800) << "in summer, too";
    Enter(kUtc);
    EXPECT_EQ(seconds("01-01-2021-00:00"), 1609459200);
    EXPECT_EQ(seconds("1-1-99"), -224058496) << "of 2099, cut to 32 bits";
    EXPECT_EQ(seconds("1-1-100"), 1118082944);
    EXPECT_EQ(seconds("01-02-2020-10"), 1580551200);
    EXPECT_EQ(seconds("32-13-2020"), 1612137600) << "1 February 2021";
    EXPECT_EQ(seconds("0--1-2020"), 1572480000) << "31 October 2019";
    EXPECT_EQ(seconds("1--2000--2147483648"), -1);
    for (const char* const refused : {"33-01-2020", "01-14-2020", "01--2147483648-2020", "01-02"}) {
        EXPECT_EQ(seconds(refused), std::nullopt) << refused;
    }
    EXPECT_EQ(seconds(nullptr), std::nullopt);
}

TEST(TimeTextTest, ParsesCTimeAsLocalTime) {
    const auto seconds = [](const char* text) { return SecondsOf(ParseCTime, text); };
    Enter(kLordHowe);
    EXPECT_EQ(seconds("Sun Nov 16 02:44:43 XYZ 2026 wrong day"), 1794757483) << "in summer";
    EXPECT_EQ(seconds("Tue Jan 19 14:14:08 UTC 2038"), INT_MIN) << "past 32 bits";
    Enter(kUtc);
    EXPECT_EQ(seconds("Mon Nov 16 02:44:43 UTC 2026"), 1794797083);
    EXPECT_EQ(seconds("Mon Nov 16 02:44:43 2026 UTC"), std::nullopt);
    EXPECT_EQ(seconds(nullptr), std::nullopt);
}

// Times of options in local time, where clocks go back and forward.
TEST(TimeArgumentTest, TellsTheTwoOfALocalTimeApartWhateverWasAskedBefore) {
    using velora::utils::ParseTime, velora::utils::TimeOfTwo;
    constexpr auto kNewYork = "EST5EDT,M3.2.0,M11.1.0";
    constexpr auto kKiritimati = "<+14>-14";                   // the zone that is furthest ahead
    constexpr auto kBehind = "XST24:59:59XDT,M3.2.0,M11.1.0";  // as far behind as a zone can be
    constexpr std::int64_t kNever = -1;
    const struct {
        const char* about;
        const char* zone;
        const char* text;
        std::int64_t earlier, later;  // in seconds
    } rows[] = {
        {"winter", kNewYork, "2026-01-01T00:00:00", 1767243600, 1767243600},
        {"before clocks go back", kNewYork, "2026-11-01T00:59:59", 1793509199, 1793509199},
        {"the first that occurs twice", kNewYork, "2026-11-01T01:00:00", 1793509200, 1793512800},
        {"the last that occurs twice", kNewYork, "2026-11-01T01:59:59", 1793512799, 1793516399},
        {"after clocks went back", kNewYork, "2026-11-01T02:00:00", 1793516400, 1793516400},
        {"the first that never occurs", kNewYork, "2026-03-08T02:00:00", kNever, kNever},
        {"the last that never occurs", kNewYork, "2026-03-08T02:59:59", kNever, kNever},
        {"after clocks went forward", kNewYork, "2026-03-08T03:00:00", 1772953200, 1772953200},
        {"half an hour back", kLordHowe, "2026-04-05T01:30:00", 1775313000, 1775314800},
        {"half an hour forward", kLordHowe, "2026-10-04T02:29:59", kNever, kNever},
        {"half an hour forward, too late", kLordHowe, "2026-10-04T02:30:00", 1791041400, 1791041400},
        {"far ahead", kKiritimati, "2026-01-01T00:00:00", 1767175200, 1767175200},
        {"far behind", kBehind, "2026-01-01T00:00:00", 1767315599, 1767315599},
        {"a zone in the text", kNewYork, "2026-11-01T01:30:00-05:00", 1793514600, 1793514600},
        {"a zone in the text makes it occur", kNewYork, "2026-03-08T02:30:00Z", 1772937000, 1772937000},
    };
    for (const char* const before : {"2026-01-01T00:00:00", "2026-07-01T00:00:00"}) {
        for (const auto& row : rows) {
            setenv("TZ", row.zone, 1);
            const auto secondsOf = [&](TimeOfTwo ofTwo) {
                static_cast<void>(ParseTime(before, ofTwo));
                const auto time = ParseTime(row.text, ofTwo);
                const auto* const nanoseconds = std::get_if<std::int64_t>(&time);
                return nanoseconds != nullptr ? *nanoseconds / 1'000'000'000 : kNever;
            };
            EXPECT_EQ(secondsOf(TimeOfTwo::kEarlier), row.earlier) << row.about;
            EXPECT_EQ(secondsOf(TimeOfTwo::kLater), row.later) << row.about;
        }
    }
}

}  // namespace
}  // namespace MiscUtils
