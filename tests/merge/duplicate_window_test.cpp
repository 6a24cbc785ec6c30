// What a window of --dedup remembers, and what it forgets.

#include "velora/merge/duplicate_window.h"

#include <string>

#include <gtest/gtest.h>

namespace velora::merge {
namespace {

struct Step {
    const char* what;
    WrittenRecord record;
    bool isRepeat = false;
};

WrittenRecord RecordOf(std::int64_t time, std::string_view text, std::uint32_t length = 100, std::uint32_t type = 1) {
    return {time, type, length, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}};
}

TEST(DuplicateWindowTest, KnowsWhatIsEqualAndNear) {
    constexpr std::int64_t kFirst = std::numeric_limits<std::int64_t>::min();
    constexpr std::int64_t kLast = std::numeric_limits<std::int64_t>::max();
    const Step steps[] = {{"the first", RecordOf(kFirst, "a")},
                          {"as far as the width", RecordOf(kFirst + 10, "a"), true},
                          {"further: it was not noted again", RecordOf(kFirst + 11, "a")},
                          {"earlier than what is noted", RecordOf(kFirst + 1, "a"), true},
                          {"other bytes", RecordOf(5, "b")},
                          {"other length", RecordOf(5, "b", 101)},
                          {"other link type", RecordOf(5, "b", 100, 2)},
                          {"no bytes", RecordOf(5, "")},
                          {"no bytes again", RecordOf(7, ""), true},
                          {"far ahead", RecordOf(kLast, "c")},
                          {"that is no reason to forget", RecordOf(8, "b"), true},
                          {"far ahead again", RecordOf(kLast - 10, "c"), true},
                          {"ahead", RecordOf(40, "d")},
                          {"and further", RecordOf(41, "d"), true},
                          {"before, but forgotten", RecordOf(15, "b")}};
    DuplicateWindow window(10);
    for (const Step& step : steps) {
        EXPECT_EQ(window.Repeats(step.record), step.isRepeat) << step.what;
    }
    EXPECT_FALSE(window.HasForgotten()) << "what is too old is not missed";
}

TEST(DuplicateWindowTest, ForgetsTheOldestWhereThereIsNoRoom) {
    const std::string long1(3000, '1');
    const std::string long2(3000, '2');
    const std::string long3(9000, '3');
    DuplicateWindow window(100, 7000);
    EXPECT_FALSE(window.Repeats(RecordOf(1, long1)));
    EXPECT_FALSE(window.Repeats(RecordOf(2, long2)));
    EXPECT_TRUE(window.Repeats(RecordOf(3, long1)));
    EXPECT_FALSE(window.HasForgotten());
    EXPECT_FALSE(window.Repeats(RecordOf(4, "short, but one too many" + long1.substr(1000))));
    EXPECT_TRUE(window.HasForgotten());
    EXPECT_TRUE(window.Repeats(RecordOf(5, long2)));
    EXPECT_FALSE(window.Repeats(RecordOf(5, long1))) << "it was the oldest";
    EXPECT_FALSE(window.Repeats(RecordOf(6, long3)));
    EXPECT_FALSE(window.Repeats(RecordOf(6, long3))) << "never fits";
}

}  // namespace
}  // namespace velora::merge
