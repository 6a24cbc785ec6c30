#include <filesystem>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "procutils/path_parts.h"
#include "procutils/scoped_cwd.h"
#include "procutils/str_tokenizer.h"
#include "tests/procutils/ordinary_user.h"
#include "tests/support/file_trees.h"

namespace velora::utils::proc {
namespace {

namespace fs = std::filesystem;

// Each token with its length, then the last token.
std::string Described(const StrTokenizer& tokenizer) {
    std::string text;
    std::size_t index = 0;
    tokenizer.ForEach([&](const char* token) {
        text.append(token).append(std::to_string(tokenizer.TokenLength(index++))).append("|");
    });
    EXPECT_EQ(tokenizer.Count(), index);
    EXPECT_EQ(tokenizer.Token(index), nullptr);
    EXPECT_EQ(tokenizer.TokenLength(index), 0U);
    ErrorOf<std::out_of_range>([&] { text += tokenizer.Last(); });
    return text;
}

TEST(StrTokenizerTest, SplitsByASetOrByOneCharacter) {
    const struct {
        const char* name;
        StrTokenizer tokenizer;
        std::string described;
    } rows[] = {
        {"blanks all around", {"  ls   -l  ", " "}, "ls5|-l4|-l"},
        {"two delimiters in the set", {"a\t b", " \t"}, "a3|b1|b"},
        {"only delimiters", {"   ", " "}, ""},
        {"empty text", {"", " "}, ""},
        {"bytes with none behind", {"a b cut", 3, " "}, "a2|b1|b"},
        {"bytes with a zero", {"a b\0c d", 7, " "}, "a2|b5|b"},
        {"one character", {"a,,b", ','}, "a2|1|b1|b"},
        {"one character at both ends", {",a,", ','}, "1|a2|0|"},
        {"empty text by one character", {"", ','}, "0|"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Described(row.tokenizer), row.described) << row.name;
    }
    EXPECT_THROW(static_cast<void>(StrTokenizer("", " ").Last()), std::out_of_range);
    EXPECT_THROW(StrTokenizer("a", " ").ForEach(nullptr), std::bad_function_call);
}

TEST(StrTokenizerTest, CopiesLiveOnTheirOwnWithFiveZerosBehindTheText) {
    auto source = std::make_unique<StrTokenizer>("one two", " ");
    const StrTokenizer copy(*source);
    StrTokenizer assigned("x", " ");
    assigned = *source;
    EXPECT_EQ(std::string(source->Token(1), 8), std::string("two\0\0\0\0\0", 8));
    source.reset();
    EXPECT_EQ(std::string(copy.Token(1), 8), std::string("two\0\0\0\0\0", 8));
    EXPECT_EQ(Described(assigned), "one4|two3|two");
}

TEST(PathPartsDeathTest, DividesAPath) {
    const std::string longest = std::string(1022, 'd') + "/f";
    const struct {
        std::string path, directory, last;
    } rows[] = {{"/usr/lib", "/usr", "lib"},
                {"/usr/", "/", "usr"},
                {"usr", ".", "usr"},
                {"a/b//", "a", "b"},
                {"/", "/", "/"},
                {"", ".", "."},
                {longest, std::string(1022, 'd'), "f"}};
    for (const auto& row : rows) {
        EXPECT_EQ(DirName(row.path), row.directory) << row.path;
        EXPECT_EQ(BaseName(row.path), row.last) << row.path;
    }
    EXPECT_EQ(BaseName("d" + longest), "f");
    EXPECT_EXIT(static_cast<void>(DirName("d" + longest)), testing::KilledBySignal(SIGABRT),
                "1025 bytes does not fit into 1025");
}

TEST(ScopedCwdTest, EntersADirectoryOrThatOfAFileAndComesBack) {
    const TempDir scratch;
    const fs::path start = fs::current_path();
    const auto errorOf = [](const std::string& path) {
        return ErrorOf<std::runtime_error>([&path] {
            const ScopedCWD inside(path);
            EXPECT_TRUE(fs::exists("file"));
        });
    };
    EXPECT_EQ(errorOf(MakeFile(scratch / "file")), "no error");
    EXPECT_EQ(errorOf(scratch.Path()), "no error");
    EXPECT_EQ(errorOf("/missing"), "No such file or directory : Invalid path to scopedcwd:/missing");
    fs::permissions(scratch.Path(), fs::perms::none);
    EXPECT_TRUE(HoldsForOrdinaryUser([&] {
        return errorOf(scratch.Path()) == "Permission denied : ScopedCWD Unable to chdir to lib " &&
               fs::current_path() == start;
    }));
    fs::permissions(scratch.Path(), fs::perms::owner_all);
    EXPECT_EQ(fs::current_path(), start);
}

}  // namespace
}  // namespace velora::utils::proc
