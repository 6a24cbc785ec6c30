// What a window of --dedup remembers, and what it forgets.

#include "velora/merge/duplicate_window.h"

#include <string>

#include <gtest/gtest.h>

namespace velora::merge {
namespace {

WrittenRecord RecordOf(std::int64_t time, std::string_view text, std::uint32_t length = 100, std::uint32_t type = 1) {
    return {time, type, length, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}};
}

struct Step {
    const char* about;
    WrittenRecord in;
    bool isRepeat = false;
    bool hasForgotten = false;  // for want of room
};

void ExpectSteps(DuplicateWindow window, const std::vector<Step>& steps) {
    for (const Step& step : steps) {
        EXPECT_EQ(window.Repeats(step.in), step.isRepeat) << step.about;
        EXPECT_EQ(window.HasForgotten(), step.hasForgotten) << step.about;
    }
}

TEST(DuplicateWindowTest, KnowsWhatIsEqualAndNear) {
    constexpr std::int64_t kFirst = std::numeric_limits<std::int64_t>::min();
    constexpr std::int64_t kLast = std::numeric_limits<std::int64_t>::max();
    ExpectSteps(DuplicateWindow(10), {{"the first", RecordOf(kFirst, "a")},
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
                                      {"before, but forgotten", RecordOf(15, "b")}});
}

TEST(DuplicateWindowTest, ForgetsTheOldestWhereThereIsNoRoom) {
    const std::string one(3000, '1'), two(3000, '2'), three(2000, '3'), tooLong(9000, '4');
    ExpectSteps(DuplicateWindow(100, 7000), {{"the first", RecordOf(1, one)},
                                             {"the second", RecordOf(2, two)},
                                             {"both are known", RecordOf(3, one), true},
                                             {"one too many", RecordOf(4, three), false, true},
                                             {"the second is still known", RecordOf(5, two), true, true},
                                             {"the first was the oldest", RecordOf(5, one), false, true},
                                             {"never fits", RecordOf(6, tooLong), false, true},
                                             {"so it is not known", RecordOf(6, tooLong), false, true}});
}

}  // namespace
}  // namespace velora::merge
