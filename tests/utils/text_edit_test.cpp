#include "utils/text_edit.h"

#include <string>

#include <gtest/gtest.h>

namespace MiscUtils {
namespace {

TEST(TextEditTest, EndsWith) {
    struct Row {
        const char *text, *suffix;
        bool expected;
    };
    const Row rows[] = {
        {"a.gz", ".gz", true},   {".gz", ".gz", true}, {"gz", ".gz", false}, {"a.gz", ".GZ", false},
        {"a.gzx", ".gz", false}, {"a", "", true},      {"", "", true},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(EndsWith(row.text, row.suffix), row.expected) << row.text << ' ' << row.suffix;
    }
}

TEST(TextEditTest, ReplaceAllGoesOnBehindWhatItPutIn) {
    struct Row {
        const char *text, *from, *to, *expected;
    };
    const Row rows[] = {
        {"aaa", "a", "aa", "aaaaaa"}, {"aaaaa", "aa", "b", "bba"}, {"abab", "ab", "", ""},
        {"xaby", "ab", "ba", "xbay"}, {"aabb", "ab", "", "ab"},    {"abc", "d", "x", "abc"},
        {"abc", "", "x", "abc"},      {"", "a", "b", ""},          {"ab", "abc", "x", "ab"},
    };
    for (const Row& row : rows) {
        std::string text = row.text;
        ReplaceAll(text, row.from, row.to);
        EXPECT_EQ(text, row.expected) << row.text << ' ' << row.from << ' ' << row.to;
    }
}

TEST(TextEditTest, EraseAllTakesWhatComesTogetherToo) {
    struct Row {
        const char *text, *pattern, *expected;
    };
    const Row rows[] = {
        {"xabyab", "ab", "xy"}, {"aabb", "ab", ""},    {"xaaabbbc", "ab", "xc"},
        {"aaa", "aa", "a"},     {"ababcc", "abc", ""}, {"abc", "", "abc"},
        {"", "a", ""},          {"aaa", "a", ""},
    };
    for (const Row& row : rows) {
        std::string text = row.text;
        EraseAll(text, row.pattern);
        EXPECT_EQ(text, row.expected) << row.text << ' ' << row.pattern;
    }
}

}  // namespace
}  // namespace MiscUtils
