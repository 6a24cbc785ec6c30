#include "utils/time_range.h"

#include <climits>
#include <functional>
#include <ostream>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "tests/utils/scoped_zone.h"
#include "utils/clock.h"

namespace MiscUtils {

void PrintTo(const TimeVal32& time, std::ostream* out) {
    *out << time.sec << "s " << time.usec << "us";
}

void PrintTo(const TimeRange& range, std::ostream* out) {
    PrintTo(range.from, out);
    *out << " to ";
    PrintTo(range.to, out);
}

namespace {

TEST(TimeVal32Test, CarriesAndBorrowsOneSecondAndWraps) {
    using T = TimeVal32;
    EXPECT_EQ((T{1, 500000} + T{2, 499999}), (T{3, 999999}));
    EXPECT_EQ((T{1, 500000} + T{2, 500000}), (T{4, 0}));
    EXPECT_EQ((T{0, 1500000} + T{0, 1500000}), (T{1, 2000000}));
    EXPECT_EQ((T{INT_MAX, 999999} + T{0, 1}), (T{INT_MIN, 0}));
    EXPECT_EQ((T{3, 100} - T{1, 100}), (T{2, 0}));
    EXPECT_EQ((T{3, 100} - T{1, 101}), (T{1, 999999}));
    EXPECT_EQ((T{INT_MIN, 0} - T{0, 1}), (T{INT_MAX, 999999}));
    EXPECT_TRUE((T{-1, 999999} < T{0, -1}) && (T{0, -1} < T{0, 0}));
}

TEST(TimeRangeTest, OperationsThatChangeARange) {
    using R = TimeRange;
    const auto extend = [](TimeVal32 time) { return [=](R& range) { range.Extend(time); }; };
    const auto unite = [](R other) { return [=](R& range) { range.Unite(other); }; };
    const auto adopt = [](R other) { return [=](R& range) { range.UniteOrAdopt(other); }; };
    const auto widen = [](std::uint32_t by) { return [=](R& range) { range.Widen(by); }; };
    const auto intersect = [](R other) {
        return [=](R& range) { EXPECT_EQ(Intersect(range, other), range); };
    };
    const R tens{{10, 1}, {20, 2}};
    const timeval large{(1LL << 32) + 5, (1LL << 33) - 1};
    const struct {
        const char* name;
        R before;
        std::function<void(R&)> change;
        R after;
    } rows[] = {
        {"set cuts",
         tens,
         [=](R& r) {
             r.Set(large, {7, 8});
         },
         {{5, -1}, {7, 8}}},
        {"set seconds", tens, [](R& r) { r.SetSeconds(9, -3); }, {{9, 0}, {-3, 0}}},
        {"clear", tens, [](R& r) { r.Clear(); }, {}},
        {"extend a cleared range", {}, extend({5, 6}), {{5, 6}, {5, 6}}},
        {"extend where only to is set", {{0, 0}, {20, 2}}, extend({5, 6}), {{5, 6}, {5, 6}}},
        {"extend from 0.000001", {{0, 1}, {20, 2}}, extend({5, 6}), {{0, 1}, {20, 2}}},
        {"extend earlier", tens, extend({10, 0}), {{10, 0}, {20, 2}}},
        {"extend later", tens, extend({20, 3}), {{10, 1}, {20, 3}}},
        {"extend a reversed range", {{20, 0}, {10, 0}}, extend({15, 0}), {{15, 0}, {15, 0}}},
        {"unite with a wider one", tens, unite({{9, 9}, {20, 3}}), {{9, 9}, {20, 3}}},
        {"unite with a narrower one", tens, unite({{10, 2}, {20, 1}}), tens},
        {"unite keeps a zero from", {}, unite(tens), {{0, 0}, {20, 2}}},
        {"unite takes a zero from", tens, unite({}), {{0, 0}, {20, 2}}},
        {"adopt replaces a zero from", {{0, 0}, {30, 0}}, adopt(tens), {{10, 1}, {30, 0}}},
        {"adopt keeps from 0.000001", {{0, 1}, {1, 0}}, adopt(tens), {{0, 1}, {20, 2}}},
        {"adopt an earlier one", tens, adopt({{9, 0}, {9, 0}}), {{9, 0}, {20, 2}}},
        {"intersect", tens, intersect({{10, 2}, {20, 1}}), {{10, 2}, {20, 1}}},
        {"intersect with all", tens, intersect({{0, 0}, {99, 0}}), tens},
        {"intersect with none", tens, intersect({{30, 0}, {40, 0}}), {{30, 0}, {20, 2}}},
        {"widen", tens, widen(11), {{-1, 1}, {31, 2}}},
        {"widen wraps", {{INT_MIN, 1}, {INT_MAX, 2}}, widen(1), {{INT_MAX, 1}, {INT_MIN, 2}}},
        {"widen past 31 bits", tens, widen(UINT_MAX), {{11, 1}, {19, 2}}},
    };
    for (const auto& row : rows) {
        R range = row.before;
        row.change(range);
        EXPECT_EQ(range, row.after) << row.name;
    }
}

TEST(TimeRangeTest, NowIsReadFromTheClock) {
    const TimeVal32 before = Now();
    TimeRange range;
    range.SetNow();
    EXPECT_TRUE(before <= range.from && range.from == range.to);
    range.SetSeconds(1, 2);
    range.ExtendNow();
    EXPECT_TRUE(range.from == (TimeVal32{1, 0}) && before <= range.to && range.to <= Now());
}

TEST(TimeRangeTest, Questions) {
    const TimeRange range{{10, 5}, {20, 5}};
    const struct {
        TimeVal32 time;
        bool contained;
        bool after;
    } times[] = {{{10, 4}, false, false},
                 {{10, 5}, true, false},
                 {{20, 5}, true, false},
                 {{20, 6}, false, true}};
    for (const auto& row : times) {
        EXPECT_EQ(range.Contains(row.time), row.contained) << testing::PrintToString(row.time);
        EXPECT_EQ(range.IsAfter(row.time), row.after) << testing::PrintToString(row.time);
    }
    const TimeRange reversed{{20, 0}, {10, 0}};
    EXPECT_TRUE(!reversed.IsAfter({20, 0}) && reversed.IsAfter({20, 1}));

    const struct {
        TimeRange other;
        bool contained;
        bool overlaps;
    } ranges[] = {
        {{{10, 5}, {20, 5}}, true, true},  {{{10, 4}, {20, 5}}, false, true},
        {{{10, 5}, {20, 6}}, false, true}, {{{20, 5}, {30, 0}}, false, false},
        {{{20, 4}, {30, 0}}, false, true}, {{{0, 0}, {10, 5}}, false, false},
        {{{0, 0}, {10, 6}}, false, true},  {{{15, 0}, {15, 0}}, true, true},
    };
    for (const auto& row : ranges) {
        SCOPED_TRACE(testing::PrintToString(row.other));
        EXPECT_EQ(range.ContainsRange(row.other), row.contained);
        EXPECT_EQ(range.Overlaps(row.other), row.overlaps);
    }
}

TEST(TimeRangeTest, LengthAndTexts) {
    const struct {
        TimeRange range;
        std::int32_t seconds;
        const char* duration;
        const char* sql;
    } rows[] = {
        {{{100, 900000}, {3761, 100000}}, 3661, "01h 01m 00s 200000u", " BETWEEN 100 AND 3761 "},
        {{{5, 0}, {9, 0}}, 4, "00h 00m 04s 000000u", " BETWEEN 5 AND 9 "},
        {{{0, 0}, {360000, 0}}, 360000, "100h 00m 00s 000000u", " BETWEEN 0 AND 360000 "},
        {{{9, 0}, {5, 0}}, -4, "00h 00m -4s 000000u", " BETWEEN 9 AND 5 "},
        {{{3661, 0}, {0, 1}}, -3661, "-1h -1m -1s 000001u", " BETWEEN 3661 AND 0 "},
        {{{-1, 0}, {INT_MAX, 0}},
         INT_MIN,
         "-596523h -14m -8s 000000u",
         " BETWEEN -1 AND 2147483647 "},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.range.Seconds(), row.seconds);
        EXPECT_EQ(row.range.DurationText(), row.duration);
        EXPECT_EQ(row.range.SqlBetween(), row.sql);
    }
}

TEST(TimeRangeTest, SetFromTexts) {
    const auto texts = &TimeRange::SetFromText;
    const auto seconds = &TimeRange::SetFromSecondsText;
    const std::string reversed = "TO  timestamp earlier than FROM timestamp ";
    const std::string badFrom = "Invalid FROM timestamp seconds";
    const std::string badTo = "Invalid TO  timestamp seconds";
    const std::string badFormat =
        "Timestamps not in DD-MM-YYYY-HH:MM or DD-MM-YYYY format \nFrom = [";
    const struct {
        void (TimeRange::*set)(const char*, const char*);
        const char* from;
        const char* to;
        TimeRange after;
        std::string fault;
    } rows[] = {
        {texts, "1-1-2021", "1-1-2021-00:01", {{1609421400, 0}, {1609421460, 0}}, ""},
        {texts, "1-1-2021", "1-1-2021", {{1609421400, 0}, {1609421400, 0}}, ""},
        {texts, "1-1-2021", "31-12-2020", {{1609421400, 0}, {1609335000, 0}}, reversed},
        {texts, "2021/1/1", "1", {{1, 1}, {2, 2}}, badFormat + "2021/1/1]\nTo   = [1]"},
        {texts, "1-1-2021", "", {{1609421400, 0}, {2, 2}}, badFormat + "1-1-2021]\nTo   = []"},
        {texts, nullptr, "1-1-2021", {{1, 1}, {2, 2}}, badFormat},
        {texts, "1-1-2021", nullptr, {{1609421400, 0}, {2, 2}}, badFormat + "1-1-2021]\nTo   = ["},
        {seconds, "5", "9", {{5, 1}, {9, 2}}, ""},
        {seconds, "0", "0", {{0, 1}, {0, 2}}, ""},
        {seconds, " -7x", "+8 y", {{-7, 1}, {8, 2}}, ""},
        {seconds, "4294967297", "4294967298", {{1, 1}, {2, 2}}, ""},
        {seconds, "9", "8", {{9, 1}, {8, 2}}, reversed},
        {seconds, "0", "2147483648", {{0, 1}, {INT_MIN, 2}}, reversed},
        {seconds, "abc", "9", {{0, 1}, {2, 2}}, badFrom},
        {seconds, nullptr, "9", {{0, 1}, {2, 2}}, badFrom},
        {seconds, "5", "", {{5, 1}, {0, 2}}, badTo},
    };
    const ScopedZone zone(kLordHowe);
    for (const auto& row : rows) {
        TimeRange range{{1, 1}, {2, 2}};
        std::string fault;
        try {
            (range.*row.set)(row.from, row.to);
        } catch (const std::invalid_argument& error) {
            fault = error.what();
        }
        EXPECT_EQ(fault, row.fault);
        EXPECT_EQ(range, row.after) << row.fault << testing::PrintToString(row.from);
    }
}

}  // namespace
}  // namespace MiscUtils
