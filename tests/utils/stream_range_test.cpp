#include "utils/stream_range.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "utils/scope_guards.h"

namespace MiscUtils {
namespace {

// A stream over a nameless file.
UniqueFile StreamOf(const std::string& text) {
    UniqueFile stream(std::tmpfile());
    EXPECT_EQ(std::fwrite(text.data(), 1, text.size(), stream.get()), text.size());
    std::rewind(stream.get());
    return stream;
}

TEST(StreamRangeTest, FindsTheFirstMatchInAnyBlockAndAlwaysComesToAnEnd) {
    const std::string dots(10000, '.');
    const auto dotsWith = [&](const std::string& part, std::size_t offset) {
        return std::string(dots).replace(offset, part.size(), part);
    };
    struct Row {
        const char* name;
        std::string text, needle;
        long start, expected, positionAfter;
    };
    const std::string block(4096, 'x');
    const Row rows[] = {
        {"at the start", "abc", "ab", 0, 0, 0},
        {"in the middle", "xxabcab", "ab", 0, 2, 2},
        {"behind the position", "abxab", "ab", 1, 3, 3},
        {"only ahead of the position", "abxx", "ab", 1, 0, 4},
        {"one byte", "xxa", "a", 0, 2, 2},
        {"one byte missing", "xxx", "a", 0, 0, 3},
        {"none, short block as long as the needle", "xx", "ab", 0, 0, 2},
        {"needle longer than the rest", "ab", "abc", 0, 0, 2},
        {"empty stream", "", "a", 0, 0, 0},
        {"empty needle", "abc", "", 2, 2, 2},
        {"empty needle at the end", "abc", "", 3, 3, 3},
        {"last of the first block", dotsWith("ab", 4094), "ab", 0, 4094, 4094},
        {"across two blocks", dotsWith("ab", 4095), "ab", 0, 4095, 4095},
        {"first of the second block", dotsWith("ab", 4096), "ab", 0, 4096, 4096},
        {"across, from within", dotsWith("abc", 4195), "abc", 100, 4195, 4195},
        {"at the very end", dotsWith("ab", 9998), "ab", 0, 9998, 9998},
        {"nowhere", dots, "ab", 0, 0, 10000},
        {"block-long needle", dotsWith(block, 5904), block, 0, 5904, 5904},
        {"block-long needle, nowhere", dots, block, 0, 0, 10000},
        {"needle longer than a block", std::string(9000, 'x'), block + "x", 0, 0, 4096},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const UniqueFile stream = StreamOf(row.text);
        std::fseek(stream.get(), row.start, SEEK_SET);
        EXPECT_EQ(FindInStream(stream.get(), row.needle.data(), row.needle.size()),
                  static_cast<std::uint64_t>(row.expected));
        EXPECT_EQ(std::ftell(stream.get()), row.positionAfter);
    }
}

TEST(StreamRangeTest, CopiesAndReadsRanges) {
    constexpr std::uint64_t kHuge = std::numeric_limits<std::uint64_t>::max();
    std::string text(9000, '\0');
    std::generate(text.begin(), text.end(),
                  [n = 0]() mutable { return static_cast<char>(n++ % 253); });
    struct Row {
        const char* name;
        std::uint64_t from, to;
        std::size_t expectedFrom, expectedLength;
        bool fits = true;  // into a buffer of the stream's size
    };
    const Row rows[] = {
        {"whole", 0, 0, 0, 9000},
        {"to the end", 8999, 0, 8999, 1},
        {"inner", 10, 20, 10, 10},
        {"a block", 1, 4097, 1, 4096},
        {"a block and a byte", 1, 4098, 1, 4097},
        {"one short of the end", 0, 8999, 0, 8999},
        {"beyond the end", 8000, 9500, 8000, 1000},
        {"empty", 20, 20, 0, 0},
        {"backwards", 20, 10, 0, 0},
        {"from the end", 9000, 0, 0, 0},
        {"from beyond the end", 9001, 0, 0, 0},
        {"huge end", 8999, kHuge, 8999, 1, false},
        {"huge start", kHuge, 0, 0, 0},
        {"both huge", kHuge - 9, kHuge, 0, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string expected = text.substr(row.expectedFrom, row.expectedLength);
        const UniqueFile in = StreamOf(text);
        const UniqueFile out = StreamOf("");
        EXPECT_TRUE(CopyStreamRange(in.get(), out.get(), row.from, row.to));
        std::rewind(out.get());
        std::string copied(text.size() + 1, '\0');
        copied.resize(std::fread(copied.data(), 1, copied.size(), out.get()));
        EXPECT_EQ(copied, expected);

        std::string buffer(text.size(), '#');
        EXPECT_EQ(ReadStreamRange(in.get(), buffer.data(), buffer.size(), row.from, row.to),
                  row.fits);
        const std::string read = row.fits ? expected : "";
        EXPECT_EQ(buffer, read + std::string(text.size() - read.size(), '#'));
    }
}

TEST(StreamRangeTest, ReadsNoMoreThanTheBufferHolds) {
    const UniqueFile in = StreamOf("0123456789");
    std::string buffer(3, '#');
    EXPECT_FALSE(ReadStreamRange(in.get(), buffer.data(), buffer.size(), 2, 6));
    EXPECT_FALSE(ReadStreamRange(in.get(), buffer.data(), buffer.size(), 6, 0));
    EXPECT_EQ(buffer, "###");
    EXPECT_TRUE(ReadStreamRange(in.get(), buffer.data(), buffer.size(), 7, 0));
    EXPECT_EQ(buffer, "789");
    EXPECT_TRUE(ReadStreamRange(in.get(), nullptr, 0, 4, 4));
    EXPECT_EQ(std::ftell(in.get()), 4);
}

}  // namespace
}  // namespace MiscUtils
