#include "velora/utils/saturating.h"

#include <gtest/gtest.h>

#include "velora/utils/shift_rule.h"

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

TEST(ShiftRuleTest, WaitsWhereTimesStepBackUntilTheyHaveCaughtUp) {
    int current = 100;
    int shift = 0;
    for (const auto& [next, shown] : {std::pair{110, 110},
                                      {90, 110},
                                      {95, 115},
                                      {80, 115},
                                      {115, 150},
                                      {150, 185},
                                      {185, 220},
                                      {221, 221},
                                      {222, 222},
                                      {222, 222}}) {
        shift = NextShift(current, shift, next);
        current = next;
        EXPECT_EQ(current + shift, shown) << next;
    }
}

}  // namespace
}  // namespace MiscUtils
