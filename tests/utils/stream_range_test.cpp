#include "utils/stream_range.h"

#include <cstdint>
#include <string>
#include <tuple>

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
    const std::string block(4096, 'x');
    const auto at = [&](std::size_t offset, const std::string& part) {
        return std::string(dots).replace(offset, part.size(), part);
    };
    const std::tuple<std::string, std::string, long, std::uint64_t, long> rows[] = {
        {"abxab", "ab", 0, 0, 0},
        {"abxab", "ab", 1, 3, 3},
        {"abxx", "ab", 1, 0, 4},
        {"xxx", "a", 0, 0, 3},
        {"xx", "ab", 0, 0, 2},
        {"ab", "abc", 0, 0, 2},
        {"abc", "", 2, 2, 2},
        {at(4094, "ab"), "ab", 0, 4094, 4094},
        {at(4095, "ab"), "ab", 0, 4095, 4095},
        {at(4096, "ab"), "ab", 0, 4096, 4096},
        {at(9998, "ab"), "ab", 100, 9998, 9998},
        {dots, "ab", 0, 0, 10000},
        {dots, block, 0, 0, 10000},
        {at(5904, block), block, 0, 5904, 5904},
        {at(0, block + "x"), block + "x", 0, 0, 4096}};
    for (const auto& [text, needle, start, expected, positionAfter] : rows) {
        const UniqueFile stream = StreamOf(text);
        std::fseek(stream.get(), start, SEEK_SET);
        EXPECT_EQ(FindInStream(stream.get(), needle.data(), needle.size()), expected) << text;
        EXPECT_EQ(std::ftell(stream.get()), positionAfter) << text;
    }
}

TEST(StreamRangeTest, CopiesAndReadsRangesThatFit) {
    constexpr std::uint64_t kHuge = ~std::uint64_t{0};
    std::string text;
    while (text.size() < 9000) {
        text += std::to_string(1000 + text.size() % 1000);
    }
    const std::tuple<std::uint64_t, std::uint64_t, std::size_t, std::size_t, bool> rows[] = {
        {0, 0, 9000, 9000, true},       {0, 0, 8999, 9000, false},       {8999, 0, 0, 1, false},
        {1, 4097, 4096, 4096, true},    {1, 4098, 4097, 4097, true},     {1, 4098, 4096, 4097, false},
        {8000, 9500, 1500, 1000, true}, {8000, 9500, 1499, 1000, false}, {20, 20, 0, 0, true},
        {20, 10, 9, 0, true},           {9001, 0, 9, 0, true},           {8999, kHuge, 9000, 1, false},
        {kHuge, 0, 9, 0, true},         {kHuge - 9, kHuge, 9, 0, true}};
    for (const auto& [from, to, capacity, expectedLength, fits] : rows) {
        SCOPED_TRACE(std::to_string(from) + " to " + std::to_string(to));
        const std::string expected = text.substr(from % 9001, expectedLength);
        const UniqueFile in = StreamOf(text);
        const UniqueFile out = StreamOf("");
        EXPECT_TRUE(CopyStreamRange(in.get(), out.get(), from, to));
        std::rewind(out.get());
        std::string copied(text.size() + 1, '#');
        copied.resize(std::fread(copied.data(), 1, copied.size(), out.get()));
        EXPECT_EQ(copied, expected);
        std::string buffer(capacity, '#');
        EXPECT_EQ(ReadStreamRange(in.get(), buffer.data(), capacity, from, to), fits);
        const std::string untouched(fits ? capacity - expected.size() : capacity, '#');
        EXPECT_EQ(buffer, fits ? expected + untouched : untouched);
    }
}

}  // namespace
}  // namespace MiscUtils
