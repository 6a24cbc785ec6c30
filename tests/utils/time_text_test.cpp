#include "utils/time_text.h"

#include <climits>
#include <ctime>
#include <string>

#include <gtest/gtest.h>

#include "tests/utils/scoped_zone.h"
#include "utils/clock.h"

namespace MiscUtils {
namespace {

TEST(ClockTest, AgreesWithTheSystemsSeconds) {
    const std::time_t before = std::time(nullptr);
    TimeVal32 time{-1, -1};
    GetTimeOfDay(time);
    const TimeVal32 now = Now();
    const std::int64_t nowSeconds = NowSeconds();
    // time(2) may read a tick behind gettimeofday(2), so the end is a second later.
    EXPECT_TRUE(before <= time.sec && time <= now && now.sec <= nowSeconds);
    EXPECT_LE(nowSeconds, std::time(nullptr) + 1);
    EXPECT_TRUE(0 <= time.usec && time.usec <= 999999) << time.usec;
}

TEST(TimeTextTest, LayoutsInTwoZones) {
    const struct {
        const char* zone;
        TimeVal32 time;
        const char* texts;
        const char* moreTexts;
    } rows[] = {
        {kUtc,
         {1794797083, 123},
         "Mon Nov 16 02:44:43 2026/Mon Nov 16 02:44:43 2026 UTC/Mon Nov 16 02:44:43 2026-000123/",
         "Mon, 16 Nov 2026 02:44:43 +0000/02:44:43-000123/16-11-2026-02:44/16-11-2026-02-44/"
         "16112026/2:44:43"},
        {kLordHowe,
         {1794797083, 999999},  // summer
         "Mon Nov 16 13:44:43 2026/Mon Nov 16 13:44:43 2026 LHDT/Mon Nov 16 13:44:43 2026-999999/",
         "Mon, 16 Nov 2026 13:44:43 +1100/13:44:43-999999/16-11-2026-13:44/16-11-2026-13-44/"
         "16112026/13:44:43"},
        {kLordHowe,
         {1594000000, 1000000},  // winter
         "Mon Jul  6 12:16:40 2020/Mon Jul  6 12:16:40 2020 LHST/Mon Jul  6 12:16:40 2020-1000000/",
         "Mon, 06 Jul 2020 12:16:40 +1030/12:16:40-1000000/06-07-2020-12:16/06-07-2020-12-16/"
         "06072020/12:16:40"},
        {kUtc,
         {INT_MIN, -1},
         "Fri Dec 13 20:45:52 1901/Fri Dec 13 20:45:52 1901 UTC/"
         "Fri Dec 13 20:45:52 1901-4294967295/",
         "Fri, 13 Dec 1901 20:45:52 +0000/20:45:52--00001/13-12-1901-20:45/13-12-1901-20-45/"
         "13121901/20:45:52"},
    };
    for (const auto& row : rows) {
        const ScopedZone zone(row.zone);
        const TimeVal32& time = row.time;
        EXPECT_EQ(AscTime(time) + "/" + AscTimeZone(time) + "/" + AscTimeUsec(time) + "/",
                  row.texts);
        int hour = -1;
        int minute = -1;
        int second = -1;
        LocalHourMinSec(time, hour, minute, second);
        EXPECT_EQ(Rfc2822Time(time) + "/" + ClockTimeUsec(time) + "/" + DateHourMinute(time) + "/" +
                      DateHourMinuteDashed(time) + "/" + DateCompact(time) + "/" +
                      std::to_string(LocalHour(time)) + ":" + std::to_string(minute) + ":" +
                      std::to_string(second),
                  row.moreTexts);
        EXPECT_EQ(hour, LocalHour(time));
        EXPECT_EQ(DateHourMinuteForFileName(time), DateHourMinuteDashed(time));
    }
}

TEST(TimeTextTest, ParseDateTimeReadsStandardTime) {
    const struct {
        const char* text;
        std::int32_t utc;
    } accepted[] = {
        {"01-01-2021-00:00", 1609459200},  // summer on Lord Howe Island
        {"06-07-2020-12:16", 1594037760},
        {"5-3-21", 1614902400},
        {"1-1-99", -224058496},  // of 2099, cut to 32 bits
        {"01-02-2020-10", 1580551200},
        {"01-02-2020-10:", 1580551200},
        {" 01- 02- 2020-10:00 and so on", 1580551200},
        {"32-13-2020", 1612137600},  // 1 February 2021
        {"0--1-2020", 1572480000},   // 31 October 2019
    };
    const char* const rejected[] = {"33-01-2020", "01-14-2020", "01--2147483648-2020",
                                    "2021/01/01", "01-02",      nullptr};
    const ScopedZone utc(kUtc);
    for (const int offset : {0, 37800}) {
        const ScopedZone zone(offset == 0 ? kUtc : kLordHowe);
        for (const auto& row : accepted) {
            TimeVal32 time{7, 8};
            EXPECT_TRUE(ParseDateTime(time, row.text)) << row.text;
            EXPECT_EQ(time, (TimeVal32{row.utc - offset, 0})) << row.text << time.sec;
        }
        for (const char* text : rejected) {
            TimeVal32 time{7, 8};
            EXPECT_FALSE(ParseDateTime(time, text)) << testing::PrintToString(text);
            EXPECT_EQ(time, (TimeVal32{7, 8})) << testing::PrintToString(text);
        }
    }
    TimeVal32 time;
    EXPECT_TRUE(ParseDateTime(time, "1-1-100") && time.sec == 1118082944) << time.sec;
    EXPECT_TRUE(ParseDateTime(time, "1--2000--2147483648") && time.sec == -1) << time.sec;
}

TEST(TimeTextTest, ParseCTimeReadsLocalTime) {
    const struct {
        const char* text;
        bool accepted;
        std::int32_t utc;
        std::int32_t lordHowe;
    } rows[] = {
        {"Mon Nov 16 02:44:43 UTC 2026", true, 1794797083, 1794757483},
        {"Mon Jul 6 12:16:40 LHST 2020", true, 1594037800, 1594000000},
        {"Sun Nov 16 02:44:43 XYZ 2026 wrong day", true, 1794797083, 1794757483},
        {"Tue Jan 19 14:14:08 UTC 2038", true, -2147444048, INT_MIN},  // past 32 bits
        {"Mon Nov 16 02:44:43 2026 UTC", false, 7, 7},
        {"Mon Nov 16 02:44:43 2026", false, 7, 7},
        {nullptr, false, 7, 7},
    };
    for (const auto& row : rows) {
        for (const char* zone : {kUtc, kLordHowe}) {
            SCOPED_TRACE(testing::PrintToString(row.text) + zone);
            const ScopedZone scope(zone);
            TimeVal32 time{7, 7};
            EXPECT_EQ(ParseCTime(time, row.text), row.accepted);
            EXPECT_EQ(time.sec, zone == kUtc ? row.utc : row.lordHowe);
            EXPECT_EQ(time.usec, row.accepted ? 0 : 7);
        }
    }
}

}  // namespace
}  // namespace MiscUtils
