#include "velora/utils/saturating.h"

#include <gtest/gtest.h>

namespace MiscUtils {
namespace {

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();

TEST(SaturatingTest, StopsAtTheEnds) {
    EXPECT_EQ(SaturatingSum(2, 3), 5);
    EXPECT_EQ(SaturatingSum(kMost - 1, 1), kMost);
    EXPECT_EQ(SaturatingSum(kMost, 1), kMost);
    EXPECT_EQ(SaturatingSum(kLeast + 1, -1), kLeast);
    EXPECT_EQ(SaturatingSum(kLeast, -1), kLeast);
    EXPECT_EQ(SaturatingSum(kLeast, kMost), -1);
    EXPECT_EQ(SaturatingDifference(2, 3), -1);
    EXPECT_EQ(SaturatingDifference(kLeast, 1), kLeast);
    EXPECT_EQ(SaturatingDifference(kMost, -1), kMost);
    EXPECT_EQ(SaturatingDifference(kMost, kMost), 0);
    EXPECT_EQ(SaturatingDifference(-1, kLeast), kMost);
    EXPECT_EQ(SaturatingDifference(0, kLeast), kMost);
}

}  // namespace
}  // namespace MiscUtils
