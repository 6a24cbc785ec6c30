#include <climits>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <optional>

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

// The range after one operation on it.
R After(R range, const std::function<void(R&)>& operation) {
    operation(range);
    return range;
}

constexpr R kTens{{10, 1}, {20, 2}};

TEST(TimeRangeTest, IsSetToWholeSeconds) {
    EXPECT_EQ(After(kTens, [](R& range) { range.SetSeconds(9, -3); }), (R{{9, 0}, {-3, 0}}));
}

TEST(TimeRangeTest, ExtendsUnlessItIsUnset) {
    const auto extend = [](R& range) { range.Extend({5, 6}); };
    EXPECT_EQ(After({{0, 0}, {20, 2}}, extend), (R{{5, 6}, {5, 6}})) << "unset";
    EXPECT_EQ(After({{0, 1}, {20, 2}}, extend), (R{{0, 1}, {20, 2}}));
    EXPECT_EQ(After({{20, 0}, {10, 0}}, [](R& range) { range.Extend({15, 0}); }), (R{{15, 0}, {15, 0}})) << "reversed";
}

TEST(TimeRangeTest, UnitesWithAnother) {
    const auto unite = [](const R& other) { return [other](R& range) { range.Unite(other); }; };
    EXPECT_EQ(After(kTens, unite({{9, 9}, {20, 3}})), (R{{9, 9}, {20, 3}}));
    EXPECT_EQ(After(kTens, unite({{10, 2}, {20, 1}})), kTens);
    EXPECT_EQ(After({}, unite(kTens)), (R{{0, 0}, {20, 2}}));
    const auto adopt = [](const R& other) { return [other](R& range) { range.UniteOrAdopt(other); }; };
    EXPECT_EQ(After({{0, 0}, {30, 0}}, adopt(kTens)), (R{{10, 1}, {30, 0}})) << "the end that is unset is taken over";
    EXPECT_EQ(After({{0, 1}, {1, 0}}, adopt(kTens)), (R{{0, 1}, {20, 2}}));
    EXPECT_EQ(After(kTens, adopt({{9, 0}, {9, 0}})), (R{{9, 0}, {20, 2}}));
}

TEST(TimeRangeTest, IntersectsAndWidensWithoutLookingAtTheOrder) {
    EXPECT_EQ(After(kTens, [](R& range) { Intersect(range, {{30, 0}, {40, 0}}); }), (R{{30, 0}, {20, 2}}));
    const R all{{INT_MIN, 1}, {INT_MAX, 2}};
    EXPECT_EQ(After(all, [](R& range) { range.Widen(3); }), (R{{INT_MAX - 2, 1}, {INT_MIN + 2, 2}}));
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
    const R hour{{100, 900000}, {3761, 100000}};
    EXPECT_EQ(hour.Seconds(), 3661);
    EXPECT_EQ(hour.DurationText(), "01h 01m 00s 200000u");
    EXPECT_EQ(hour.SqlBetween(), " BETWEEN 100 AND 3761 ");
    const R reversed{{3661, 0}, {0, 1}};
    EXPECT_EQ(reversed.Seconds(), -3661);
    EXPECT_EQ(reversed.DurationText(), "-1h -1m -1s 000001u");
    const R wrapping{{1, 0}, {INT_MIN, 0}};
    EXPECT_EQ(wrapping.Seconds(), INT_MAX);
    EXPECT_EQ(wrapping.DurationText(), "596523h 14m 07s 000000u");
    EXPECT_EQ(wrapping.SqlBetween(), " BETWEEN 1 AND -2147483648 ");
}

const R kBefore{{1, 1}, {2, 0}};

// What the range refuses the texts with; it is kBefore to begin with, and `after` in the end.
template <typename Set>
std::string ErrorOfTexts(Set set, const char* from, const char* to, const R& after) {
    R range = kBefore;
    const std::string error = ErrorOf<std::invalid_argument>([&] { (range.*set)(from, to); });
    EXPECT_EQ(range, after) << testing::PrintToString(from) << ' ' << range.SqlBetween();
    return error;
}

TEST(TimeRangeTest, IsSetFromTextsOfDates) {
    const auto set = [](auto... arguments) { return ErrorOfTexts(&R::SetFromText, arguments...); };
    const std::string bad = "Timestamps not in DD-MM-YYYY-HH:MM or DD-MM-YYYY format \nFrom = [";
    T start;
    ASSERT_TRUE(ParseDateTime(start, "1-1-2021"));
    EXPECT_EQ(set("1-1-2021", "1-1-2021-00:01", R{start, start + T{60, 0}}), "no error");
    EXPECT_EQ(set("1-1-2021", "1-1-2021", R{start, start}), "no error");
    EXPECT_EQ(set("1-1-2021", "31-12-2020", R{start, start - T{86400, 0}}),
              "TO  timestamp earlier than FROM timestamp ");
    EXPECT_EQ(set("2021/1/1", "1-1-2021", kBefore), bad + "2021/1/1]\nTo   = [1-1-2021]");
    EXPECT_EQ(set("1-1-2021", "", R{start, {2, 0}}), bad + "1-1-2021]\nTo   = []");
    EXPECT_EQ(set("1-1-2021", nullptr, R{start, {2, 0}}), bad + "1-1-2021]\nTo   = [");
    EXPECT_EQ(set(nullptr, "1-1-2021", kBefore), bad);
}

TEST(TimeRangeTest, IsSetFromTextsOfSeconds) {
    const auto set = [](auto... arguments) { return ErrorOfTexts(&R::SetFromSecondsText, arguments...); };
    EXPECT_EQ(set("010", "10", R{{10, 1}, {10, 0}}), "no error");
    EXPECT_EQ(set(" -7x", "4294967304 y", R{{-7, 1}, {8, 0}}), "no error") << "cut to 32 bits";
    EXPECT_EQ(set("0", "2147483648", R{{0, 1}, {INT_MIN, 0}}), "TO  timestamp earlier than FROM timestamp ");
    EXPECT_EQ(set("abc", "9", R{{0, 1}, {2, 0}}), "Invalid FROM timestamp seconds");
    EXPECT_EQ(set(nullptr, "9", R{{0, 1}, {2, 0}}), "Invalid FROM timestamp seconds");
    EXPECT_EQ(set("5", "", R{{5, 1}, {0, 0}}), "Invalid TO  timestamp seconds");
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

// The seconds that are read, or nothing where the text is refused and the time stays as it was.
std::optional<std::int32_t> SecondsOf(bool (*parse)(T&, const char*), const char* text) {
    constexpr T kUntouched{7, 8};
    T time = kUntouched;
    const bool isRead = parse(time, text);
    EXPECT_EQ(time, isRead ? (T{time.sec, 0}) : kUntouched) << testing::PrintToString(text);
    return isRead ? std::optional(time.sec) : std::nullopt;
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

}  // namespace
}  // namespace MiscUtils
