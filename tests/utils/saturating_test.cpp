#include "utils/saturating.h"

#include <gtest/gtest.h>

#include "utils/shift_clock.h"

namespace MiscUtils {
namespace {

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();

TEST(SaturatingTest, StopsAtTheEnds) {
    struct Row {
        std::int64_t one, other, sum, difference;
    };
    for (const Row& row :
         {Row{2, 3, 5, -1}, Row{kMost, 1, kMost, kMost - 1}, Row{kMost - 1, 1, kMost, kMost - 2},
          Row{kMost, -1, kMost - 1, kMost}, Row{kLeast, 1, kLeast + 1, kLeast}, Row{kLeast, -1, kLeast, kLeast + 1},
          Row{kLeast, kMost, -1, kLeast}, Row{kMost, kLeast, -1, kMost}, Row{0, kLeast, kLeast, kMost},
          Row{-1, kLeast, kLeast, kMost}, Row{kLeast, kLeast, kLeast, 0}, Row{kMost, kMost, kMost, 0}}) {
        EXPECT_EQ(SaturatingSum(row.one, row.other), row.sum) << row.one << ' ' << row.other;
        EXPECT_EQ(SaturatingDifference(row.one, row.other), row.difference) << row.one << ' ' << row.other;
    }
}

TEST(ShiftClockTest, WaitsWhereTimesStepBackUntilTheyHaveCaughtUp) {
    ShiftClock<int> clock(100);
    EXPECT_EQ(clock.Elapsed(), 0);
    for (const auto& [time, elapsed] : {std::pair{110, 10},
                                        {90, 10},
                                        {95, 15},
                                        {80, 15},
                                        {115, 50},
                                        {150, 85},
                                        {185, 120},
                                        {221, 121},
                                        {222, 122},
                                        {222, 122}}) {
        clock.Advance(time);
        EXPECT_EQ(clock.Elapsed(), elapsed) << time;
    }
}

}  // namespace
}  // namespace MiscUtils
