#include "utils/time_text.h"

#include <climits>
#include <cstdlib>
#include <ctime>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

namespace MiscUtils {
namespace {

constexpr auto kUtc = "UTC0";
constexpr auto kLordHowe = "LHST-10:30LHDT-11,M10.1.0,M4.1.0";  // half an hour of daylight saving

// Puts the process into a zone; the end of the test puts it back into its own.
class TimeTextTest : public testing::Test {
 protected:
    void TearDown() override { Enter(former_.empty() ? nullptr : former_.c_str()); }

    static void Enter(const char* zone) {
        zone != nullptr ? setenv("TZ", zone, 1) : unsetenv("TZ");
        tzset();
    }

 private:
    const std::string former_ = std::getenv("TZ") != nullptr ? std::getenv("TZ") : "";
};

std::string AllTexts(const TimeVal32& time) {
    int clock[3] = {-1, -1, -1};
    LocalHourMinSec(time, clock[0], clock[1], clock[2]);
    return AscTime(time) + "/" + AscTimeZone(time) + "/" + AscTimeUsec(time) + "/" + Rfc2822Time(time) + "/" +
           ClockTimeUsec(time) + "/" + DateHourMinute(time) + "/" + DateHourMinuteDashed(time) + "/" +
           DateHourMinuteForFileName(time) + "/" + DateCompact(time) + "/" + std::to_string(LocalHour(time)) + "=" +
           std::to_string(clock[0]) + ":" + std::to_string(clock[1]) + ":" + std::to_string(clock[2]);
}

TEST_F(TimeTextTest, LayoutsInTwoZones) {
    const std::tuple<const char*, TimeVal32, const char*> rows[] = {
        {kLordHowe,  // summer
         {1794797083, 123},
         "Mon Nov 16 13:44:43 2026/Mon Nov 16 13:44:43 2026 LHDT/Mon Nov 16 13:44:43 2026-000123/"
         "Mon, 16 Nov 2026 13:44:43 +1100/13:44:43-000123/16-11-2026-13:44/16-11-2026-13-44/"
         "16-11-2026-13-44/16112026/13=13:44:43"},
        {kLordHowe,  // winter
         {1594000000, -1},
         "Mon Jul  6 12:16:40 2020/Mon Jul  6 12:16:40 2020 LHST/Mon Jul  6 12:16:40 2020-"
         "4294967295/Mon, 06 Jul 2020 12:16:40 +1030/12:16:40--00001/06-07-2020-12:16/"
         "06-07-2020-12-16/06-07-2020-12-16/06072020/12=12:16:40"},
        {kUtc,
         {INT_MIN, 1000000},
         "Fri Dec 13 20:45:52 1901/Fri Dec 13 20:45:52 1901 UTC/Fri Dec 13 20:45:52 1901-1000000/"
         "Fri, 13 Dec 1901 20:45:52 +0000/20:45:52-1000000/13-12-1901-20:45/13-12-1901-20-45/"
         "13-12-1901-20-45/13121901/20=20:45:52"},
    };
    for (const auto& [zone, time, texts] : rows) {
        Enter(zone);
        EXPECT_EQ(AllTexts(time), texts);
    }
}

constexpr TimeVal32 kUntouched{7, 8};

TEST_F(TimeTextTest, ParseDateTimeReadsStandardTime) {
    const std::pair<const char*, std::int32_t> accepted[] = {
        {"01-01-2021-00:00", 1609459200},  // summer on Lord Howe Island
        {"06-07-2020-12:16", 1594037760}, {"5-3-21", 1614902400},
        {"1-1-99", -224058496},  // of 2099, cut to 32 bits
        {"01-02-2020-10", 1580551200},    {" 01- 02- 2020-10:00 and so on", 1580551200},
        {"32-13-2020", 1612137600},  // 1 February 2021
        {"0--1-2020", 1572480000},   // 31 October 2019
    };
    for (const int offset : {37800, 0}) {
        Enter(offset == 0 ? kUtc : kLordHowe);
        for (const auto& [text, utc] : accepted) {
            TimeVal32 time = kUntouched;
            EXPECT_TRUE(ParseDateTime(time, text)) << text;
            EXPECT_EQ(time, (TimeVal32{utc - offset, 0})) << text << " " << time.sec;
        }
    }
    TimeVal32 time;
    EXPECT_TRUE(ParseDateTime(time, "1-1-100") && time.sec == 1118082944) << time.sec;
    EXPECT_TRUE(ParseDateTime(time, "1--2000--2147483648") && time.sec == -1) << time.sec;
    time = kUntouched;
    for (const char* text : {"33-01-2020", "01-14-2020", "01--2147483648-2020", "2021/01/01", "01-02",
                             static_cast<const char*>(nullptr)}) {
        EXPECT_FALSE(ParseDateTime(time, text)) << testing::PrintToString(text);
        EXPECT_EQ(time, kUntouched) << testing::PrintToString(text);
    }
}

TEST_F(TimeTextTest, ParseCTimeReadsLocalTime) {
    const std::tuple<const char*, const char*, std::int32_t> accepted[] = {
        {kUtc, "Mon Nov 16 02:44:43 UTC 2026", 1794797083},
        {kLordHowe, "Mon Jul 6 12:16:40 LHST 2020", 1594000000},
        {kLordHowe, "Sun Nov 16 02:44:43 XYZ 2026 wrong day", 1794757483},  // summer
        {kLordHowe, "Tue Jan 19 14:14:08 UTC 2038", INT_MIN},               // past 32 bits
    };
    for (const auto& [zone, text, seconds] : accepted) {
        Enter(zone);
        TimeVal32 time = kUntouched;
        EXPECT_TRUE(ParseCTime(time, text)) << text;
        EXPECT_EQ(time, (TimeVal32{seconds, 0})) << text << " " << time.sec;
    }
    TimeVal32 time = kUntouched;
    EXPECT_FALSE(ParseCTime(time, "Mon Nov 16 02:44:43 2026 UTC"));
    EXPECT_FALSE(ParseCTime(time, nullptr));
    EXPECT_EQ(time, kUntouched);
}

}  // namespace
}  // namespace MiscUtils
