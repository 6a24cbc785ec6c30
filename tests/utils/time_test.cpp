#include <climits>
#include <cstdlib>
#include <ctime>
#include <tuple>

#include <gtest/gtest.h>

#include "tests/support/file_trees.h"
#include "velora/utils/clock.h"
#include "velora/utils/time_range.h"
#include "velora/utils/time_text.h"

namespace MiscUtils {
namespace {

using T = TimeVal32;
using R = TimeRange;

TEST(TimeVal32Test, CarriesOneSecondAndWraps) {
    EXPECT_EQ((T{1, 500000} + T{2, 499999}), (T{3, 999999}));
    EXPECT_EQ((T{1, 500000} + T{2, 500000}), (T{4, 0}));
    EXPECT_EQ((T{0, 1500000} + T{INT_MAX, 1500000}), (T{INT_MIN, 2000000}));
    EXPECT_EQ((T{3, 100} - T{1, 100}), (T{2, 0}));
    EXPECT_EQ((T{INT_MIN, 0} - T{0, 1}), (T{INT_MAX, 999999}));
    EXPECT_TRUE((T{-1, 999999} < T{0, -1}) && (T{0, -1} < T{0, 0}));
    R range;
    range.Set({(1LL << 32) + 5, (1LL << 33) - 1}, {7, 8});
    EXPECT_EQ(range, (R{{5, -1}, {7, 8}}));
    range.Clear();
    EXPECT_EQ(range, R{});
}

TEST(TimeRangeTest, OperationsThatChangeARange) {
    using Operation = void (*)(R&, const R&);
    const Operation set = [](R& r, const R& o) { r.SetSeconds(o.from.sec, o.to.sec); };
    const Operation extend = [](R& r, const R& o) { r.Extend(o.from); };
    const Operation unite = [](R& r, const R& o) { r.Unite(o); };
    const Operation adopt = [](R& r, const R& o) { r.UniteOrAdopt(o); };
    const Operation cut = [](R& r, const R& o) { EXPECT_EQ(Intersect(r, o), r); };
    const Operation widen = [](R& r, const R& o) { r.Widen(static_cast<unsigned>(o.from.sec)); };
    constexpr R kTens{{10, 1}, {20, 2}};
    const std::tuple<const char*, R, Operation, R, R> rows[] = {
        {"set", kTens, set, {{9, 9}, {-3, 9}}, {{9, 0}, {-3, 0}}},
        {"extend unset", {{0, 0}, {20, 2}}, extend, {{5, 6}, {}}, {{5, 6}, {5, 6}}},
        {"extend from 0.000001", {{0, 1}, {20, 2}}, extend, {{5, 6}, {}}, {{0, 1}, {20, 2}}},
        {"extend reversed", {{20, 0}, {10, 0}}, extend, {{15, 0}, {}}, {{15, 0}, {15, 0}}},
        {"unite with wider", kTens, unite, {{9, 9}, {20, 3}}, {{9, 9}, {20, 3}}},
        {"unite with narrower", kTens, unite, {{10, 2}, {20, 1}}, kTens},
        {"unite unset", {}, unite, kTens, {{0, 0}, {20, 2}}},
        {"adopt into unset", {{0, 0}, {30, 0}}, adopt, kTens, {{10, 1}, {30, 0}}},
        {"adopt into 0.000001", {{0, 1}, {1, 0}}, adopt, kTens, {{0, 1}, {20, 2}}},
        {"adopt earlier", kTens, adopt, {{9, 0}, {9, 0}}, {{9, 0}, {20, 2}}},
        {"intersect with none", kTens, cut, {{30, 0}, {40, 0}}, {{30, 0}, {20, 2}}},
        {"widen", {{INT_MIN, 1}, {INT_MAX, 2}}, widen, {{3, 0}, {}}, {{INT_MAX - 2, 1}, {INT_MIN + 2, 2}}}};
    for (const auto& [name, before, operation, other, after] : rows) {
        R range = before;
        operation(range, other);
        EXPECT_TRUE(range == after) << name << range.DurationText() << range.SqlBetween();
    }
}

TEST(TimeRangeTest, NowAgreesWithTheSystemsSeconds) {
    const std::time_t before = std::time(nullptr);
    R range;
    range.SetNow();
    EXPECT_TRUE(before <= range.from.sec && range.from == range.to);
    range.from = {1, 0};
    range.ExtendNow();
    EXPECT_TRUE(range.from == (T{1, 0}) && before <= range.to.sec && range.to <= Now());
    // time(2) may read a tick behind gettimeofday(2), so the end is a second later.
    EXPECT_TRUE(range.to.sec <= NowSeconds() && NowSeconds() <= std::time(nullptr) + 1);
    EXPECT_TRUE(0 <= range.to.usec && range.to.usec <= 999999) << range.to.usec;
}

TEST(TimeRangeTest, QuestionsAtTheEnds) {
    const R range{{10, 5}, {20, 5}};
    EXPECT_TRUE(range.Contains({10, 5}) && range.Contains({20, 5}));
    EXPECT_FALSE(range.Contains({10, 4}) || range.Contains({20, 6}));
    EXPECT_TRUE(range.ContainsRange(range));
    EXPECT_FALSE(range.ContainsRange({{10, 4}, {20, 5}}) || range.ContainsRange({{10, 5}, {20, 6}}));
    EXPECT_TRUE(range.Overlaps({{20, 4}, {30, 0}}) && range.Overlaps({{0, 0}, {10, 6}}));
    EXPECT_FALSE(range.Overlaps({{20, 5}, {30, 0}}) || range.Overlaps({{0, 0}, {10, 5}}));
    EXPECT_TRUE(range.IsAfter({20, 6}) && !range.IsAfter({20, 5}) && !range.IsAfter({10, 4}));
    const R reversed{{20, 0}, {10, 0}};
    EXPECT_TRUE(!reversed.IsAfter({20, 0}) && reversed.IsAfter({20, 1}));
}

TEST(TimeRangeTest, LengthAndTexts) {
    const std::tuple<R, std::int32_t, const char*, const char*> rows[] = {
        {{{100, 900000}, {3761, 100000}}, 3661, "01h 01m 00s 200000u", " BETWEEN 100 AND 3761 "},
        {{{3661, 0}, {0, 1}}, -3661, "-1h -1m -1s 000001u", " BETWEEN 3661 AND 0 "},
        {{{1, 0}, {INT_MIN, 0}}, INT_MAX, "596523h 14m 07s 000000u", " BETWEEN 1 AND -2147483648 "}};
    for (const auto& [range, seconds, duration, sql] : rows) {
        EXPECT_EQ(range.Seconds(), seconds);
        EXPECT_EQ(range.DurationText(), duration);
        EXPECT_EQ(range.SqlBetween(), sql);
    }
}

TEST(TimeRangeTest, SetFromTexts) {
    const auto texts = &R::SetFromText;
    const auto seconds = &R::SetFromSecondsText;
    const std::string reversed = "TO  timestamp earlier than FROM timestamp ";
    const std::string fine = "no error";
    const std::string bad = "Timestamps not in DD-MM-YYYY-HH:MM or DD-MM-YYYY format \nFrom = [";
    T start;
    ASSERT_TRUE(ParseDateTime(start, "1-1-2021"));
    const std::tuple<decltype(texts), const char*, const char*, R, std::string> rows[] = {
        {texts, "1-1-2021", "1-1-2021-00:01", {start, start + T{60, 0}}, fine},
        {texts, "1-1-2021", "1-1-2021", {start, start}, fine},
        {texts, "1-1-2021", "31-12-2020", {start, start - T{86400, 0}}, reversed},
        {texts, "2021/1/1", "1-1-2021", {{1, 1}, {2, 0}}, bad + "2021/1/1]\nTo   = [1-1-2021]"},
        {texts, "1-1-2021", "", {start, {2, 0}}, bad + "1-1-2021]\nTo   = []"},
        {texts, "1-1-2021", nullptr, {start, {2, 0}}, bad + "1-1-2021]\nTo   = ["},
        {texts, nullptr, "1-1-2021", {{1, 1}, {2, 0}}, bad},
        {seconds, "010", "10", {{10, 1}, {10, 0}}, fine},
        {seconds, " -7x", "4294967304 y", {{-7, 1}, {8, 0}}, fine},
        {seconds, "0", "2147483648", {{0, 1}, {INT_MIN, 0}}, reversed},
        {seconds, "abc", "9", {{0, 1}, {2, 0}}, "Invalid FROM timestamp seconds"},
        {seconds, nullptr, "9", {{0, 1}, {2, 0}}, "Invalid FROM timestamp seconds"},
        {seconds, "5", "", {{5, 1}, {0, 0}}, "Invalid TO  timestamp seconds"}};
    for (const auto& [set, from, to, after, expected] : rows) {
        R range{{1, 1}, {2, 0}};
        EXPECT_EQ(ErrorOf<std::invalid_argument>([&] { (range.*set)(from, to); }), expected);
        EXPECT_TRUE(range == after) << testing::PrintToString(from) << range.SqlBetween();
    }
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
    const std::pair<T, const char*> rows[] = {
        {{1594000000, -1},  // winter
         "Mon Jul  6 12:16:40 2020/Mon Jul  6 12:16:40 2020 LHST/Mon Jul  6 12:16:40 2020-"
         "4294967295/Mon, 06 Jul 2020 12:16:40 +1030/12:16:40--00001/06-07-2020-12:16/"
         "06-07-2020-12-16/06-07-2020-12-16/06072020/12=12:16:40"},
        {{INT_MIN, 123},  // summer
         "Sat Dec 14 07:45:52 1901/Sat Dec 14 07:45:52 1901 LHDT/Sat Dec 14 07:45:52 1901-000123/"
         "Sat, 14 Dec 1901 07:45:52 +1100/07:45:52-000123/14-12-1901-07:45/14-12-1901-07-45/"
         "14-12-1901-07-45/14121901/7=7:45:52"}};
    for (const auto& [time, texts] : rows) {
        EXPECT_EQ(AllTexts(time), texts);
    }
}

TEST(TimeTextTest, ParsesDateTimeInStandardTimeAndCTimeInLocalTime) {
    constexpr T kUntouched{7, 8};
    constexpr std::int32_t kRefused = 7;
    const std::tuple<bool (*)(T&, const char*), const char*, const char*, std::int32_t> rows[] = {
        {ParseDateTime, kUtc, "01-01-2021-00:00", 1609459200},
        {ParseDateTime, kLordHowe, "01-01-2021-00:00", 1609459200 - 37800},  // summer
        {ParseDateTime, kUtc, "1-1-99", -224058496},                         // of 2099, cut to 32 bits
        {ParseDateTime, kUtc, "1-1-100", 1118082944},
        {ParseDateTime, kUtc, "01-02-2020-10", 1580551200},
        {ParseDateTime, kUtc, "32-13-2020", 1612137600},  // 1 February 2021
        {ParseDateTime, kUtc, "0--1-2020", 1572480000},   // 31 October 2019
        {ParseDateTime, kUtc, "1--2000--2147483648", -1},
        {ParseDateTime, kUtc, "33-01-2020", kRefused},
        {ParseDateTime, kUtc, "01-14-2020", kRefused},
        {ParseDateTime, kUtc, "01--2147483648-2020", kRefused},
        {ParseDateTime, kUtc, "01-02", kRefused},
        {ParseDateTime, kUtc, nullptr, kRefused},
        {ParseCTime, kUtc, "Mon Nov 16 02:44:43 UTC 2026", 1794797083},
        {ParseCTime, kLordHowe, "Sun Nov 16 02:44:43 XYZ 2026 wrong day", 1794757483},  // summer
        {ParseCTime, kLordHowe, "Tue Jan 19 14:14:08 UTC 2038", INT_MIN},               // past 32 bits
        {ParseCTime, kUtc, "Mon Nov 16 02:44:43 2026 UTC", kRefused},
        {ParseCTime, kUtc, nullptr, kRefused}};
    for (const auto& [parse, zone, text, seconds] : rows) {
        Enter(zone);
        T time = kUntouched;
        EXPECT_EQ(parse(time, text), seconds != kRefused) << testing::PrintToString(text);
        EXPECT_EQ(time, seconds == kRefused ? kUntouched : (T{seconds, 0})) << testing::PrintToString(text);
    }
}

}  // namespace
}  // namespace MiscUtils
