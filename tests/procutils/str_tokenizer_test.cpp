#include "procutils/str_tokenizer.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace velora::utils::proc {
namespace {

struct Split {
    std::vector<std::string> tokens;
    std::vector<std::uint32_t> lengths;

    bool operator==(const Split&) const = default;
};

void PrintTo(const Split& split, std::ostream* out) {
    *out << testing::PrintToString(split.tokens) << testing::PrintToString(split.lengths);
}

Split SplitOf(const StrTokenizer& tokenizer) {
    Split split;
    tokenizer.ForEach([&](const char* token) { split.tokens.emplace_back(token); });
    for (std::size_t index = 0; index < tokenizer.Count(); ++index) {
        split.lengths.push_back(tokenizer.TokenLength(index));
    }
    return split;
}

TEST(StrTokenizerTest, SplitsByASetOrByOneCharacter) {
    using namespace std::string_view_literals;
    struct Row {
        const char* name;
        StrTokenizer tokenizer;
        Split expected;
    };
    const Row rows[] = {
        {"blanks all around", {"  ls   -l  ", " "}, {{"ls", "-l"}, {5, 4}}},
        {"two delimiters in the set", {"a\t b", " \t"}, {{"a", "b"}, {3, 1}}},
        {"only delimiters", {"   ", " "}, {}},
        {"empty text", {"", " "}, {}},
        {"empty set", {" a b", ""}, {{" a b"}, {4}}},
        {"bytes with none behind", {"a b cut", 3, " "}, {{"a", "b"}, {2, 1}}},
        {"bytes with a zero", {"a b\0c d"sv.data(), 7, " "}, {{"a", "b"}, {2, 5}}},
        {"no bytes", {"cut", 0, " "}, {}},
        {"one character", {"a,,b", ','}, {{"a", "", "b"}, {2, 1, 1}}},
        {"at both ends", {",a,", ','}, {{"", "a", ""}, {1, 2, 0}}},
        {"empty text by one character", {"", ','}, {{""}, {0}}},
        {"zero as the character", {"a,b", '\0'}, {{"a,b"}, {3}}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(SplitOf(row.tokenizer), row.expected);
        EXPECT_EQ(row.tokenizer.Count(), row.expected.tokens.size());
        EXPECT_EQ(row.tokenizer.Token(row.tokenizer.Count()), nullptr);
        EXPECT_EQ(row.tokenizer.TokenLength(row.tokenizer.Count()), 0U);
        if (row.expected.tokens.empty()) {
            EXPECT_THROW(static_cast<void>(row.tokenizer.Last()), std::out_of_range);
        } else {
            EXPECT_EQ(row.tokenizer.Last(), row.expected.tokens.back());
        }
    }
}

TEST(StrTokenizerTest, FiveZerosFollowTheTextInACopyToo) {
    const StrTokenizer original("ab cd", " ");
    const StrTokenizer copy(original);
    for (const StrTokenizer* tokenizer : {&original, &copy}) {
        EXPECT_EQ(std::string(tokenizer->Token(1), 7), std::string("cd\0\0\0\0\0", 7));
    }
}

TEST(StrTokenizerTest, CopiesLiveOnTheirOwn) {
    auto source = std::make_unique<StrTokenizer>("one two", " ");
    const char* const original = source->Token(0);
    const StrTokenizer copy(*source);
    StrTokenizer assigned("x", " ");
    assigned = *source;
    EXPECT_NE(copy.Token(0), original);
    EXPECT_NE(assigned.Token(0), original);
    source.reset();
    EXPECT_EQ(SplitOf(copy), (Split{{"one", "two"}, {4, 3}}));
    EXPECT_EQ(SplitOf(assigned), (Split{{"one", "two"}, {4, 3}}));
}

TEST(StrTokenizerTest, AnEmptyCallableIsRefusedWhenThereIsAToken) {
    EXPECT_THROW(StrTokenizer("a", " ").ForEach(nullptr), std::bad_function_call);
    EXPECT_NO_THROW(StrTokenizer(" ", " ").ForEach(nullptr));
}

}  // namespace
}  // namespace velora::utils::proc
