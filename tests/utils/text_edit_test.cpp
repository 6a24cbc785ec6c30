#include "utils/text_edit.h"

#include <string>
#include <tuple>

#include <gtest/gtest.h>

namespace MiscUtils {
namespace {

TEST(TextEditTest, ReplacesErasesAndComparesEnds) {
    const std::tuple<std::string, const char*, const char*, const char*, const char*> rows[] = {
        {"aaa", "a", "aa", "aaaaaa", ""}, {"aaaaa", "aa", "b", "bba", "a"},
        {"aabb", "ab", "", "ab", ""},     {"xaabb", "ab", "ba", "xabab", "x"},
        {"ababcc", "abc", "", "abc", ""}, {"ab", "abc", "x", "ab", "ab"},
        {"abc", "", "x", "abc", "abc"},   {"", "", "x", "", ""}};
    for (const auto& [text, part, to, expectedReplaced, expectedErased] : rows) {
        std::string replaced = text;
        ReplaceAll(replaced, part, to);
        EXPECT_EQ(replaced, expectedReplaced) << text << ' ' << part;
        std::string erased = text;
        EraseAll(erased, part);
        EXPECT_EQ(erased, expectedErased) << text << ' ' << part;
    }
    EXPECT_TRUE(EndsWith("a.gz", ".gz") && EndsWith(".gz", ".gz") && EndsWith("a", ""));
    EXPECT_FALSE(EndsWith("gz", ".gz") || EndsWith("a.gzx", ".gz") || EndsWith("a.gz", ".GZ"));
}

}  // namespace
}  // namespace MiscUtils
