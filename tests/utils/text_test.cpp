#include <cerrno>
#include <cmath>
#include <csignal>
#include <tuple>

#include <gtest/gtest.h>

#include "tests/support/file_trees.h"
#include "velora/utils/byte_quantity.h"
#include "velora/utils/errno_text.h"
#include "velora/utils/format_buffer.h"
#include "velora/utils/guid.h"
#include "velora/utils/hex_text.h"
#include "velora/utils/net_address_text.h"
#include "velora/utils/scope_guards.h"
#include "velora/utils/shown_text.h"
#include "velora/utils/stream_range.h"
#include "velora/utils/text_edit.h"

namespace MiscUtils {
namespace {

TEST(TextTest, OfErrors) {
    errno = EAGAIN;
    EXPECT_EQ(ErrnoText(0).text, "Success");
    EXPECT_EQ(ErrnoText(-5).text, "Unknown error -5");
    EXPECT_EQ(ErrnoText(-5).code, -5);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_STREQ(ErrnoError(EACCES, "open()").what(), "Permission denied : open()");
    EXPECT_STREQ(ErrnoError(EACCES).what(), "Permission denied");
}

const Guid kGuid{0x6B29FC40, 0xCA47, 0x1067, {0xB3, 0x1D, 0x00, 0xDD, 0x01, 0x06, 0x62, 0xDA}};
const Guid kSmall{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
const Guid kUntouched{};

TEST(TextTest, UnboundedFormattersIgnoreTheSize) {
    const unsigned char mac[6] = {0x00, 0x1B, 0x44, 0x11, 0xFA, 0xFF};
    char text[64];
    EXPECT_EQ(GuidToString(kGuid, text, 1), text);
    EXPECT_STREQ(text, "{6B29FC40-CA47-1067-B31D-00DD010662DA}");
    EXPECT_STREQ(GuidToFileName(kSmall, "pre", "bin", text, 1), "pre-00000001-0002-0003-0405-060708090A0B.bin");
    EXPECT_STREQ(MacToString(mac, text, 1), "00:1B:44:11:FA:FF");
    EXPECT_EQ(FormatBufferCount(text, 0, "%d.%s", 12, "xyz"), 6);
    EXPECT_STREQ(text, "12.xyz");
}

TEST(TextTest, ParseGuid) {
    const std::pair<const char*, Guid> rows[] = {
        {"{6B29FC40-CA47-1067-B31D-00DD010662DA}", kGuid},     {"{6B29FC40-CA47-1067-B31D-00DD010662DA", kGuid},
        {"{6b29fc40-ca47-1067-b31d-00dd010662daFF}-{", kGuid}, {"{1-2-3-0405-060708090AB}", kSmall},
        {"{6B29FC40-CA47-1067-B31D-00DD010662}", kUntouched},  {"{6B29FC40- CA47-1067-B31D-00DD010662DA}", kUntouched},
        {"6B29FC40-CA47-1067-B31D-00DD010662DA", kUntouched},  {"{6B29FC40-CA47-1067-B31D-00DD010662DA}G", kUntouched}};
    for (const auto& [text, expected] : rows) {
        Guid guid = kUntouched;
        EXPECT_EQ(ParseGuid(text, guid), expected == kUntouched ? 0 : 1) << text;
        EXPECT_TRUE(guid == expected) << text;
    }
    EXPECT_TRUE(ParseGuidOrThrow(rows[0].first) == kGuid);
    EXPECT_EQ(ErrorOf<std::invalid_argument>(ParseGuidOrThrow, "{}"), "Invalid guid format, expect {..}");
}

TEST(TextDeathTest, IpAddresses) {
    const std::string padding(120, ' ');
    const std::string untouched = "9.9.9.9";
    const std::pair<std::string, std::string> rows[] = {
        {padding + "1.2.3.4", "1.2.3.4"}, {" 010. +2.3.4x", "10.2.3.4"}, {"255.255.255.255", "255.255.255.255"},
        {"1.2.3.-1", untouched},          {"1.2.3.256", untouched},      {"1.2.3", untouched}};
    for (const auto& [text, expected] : rows) {
        unsigned char address[4] = {9, 9, 9, 9};
        char back[16];
        EXPECT_EQ(ParseIp(text, address), expected == untouched ? 0 : 1) << text;
        EXPECT_EQ(IpToString(address, back, 1), expected);
    }
    unsigned char a[4] = {10, 1, 2, 3};
    EXPECT_TRUE(ParseIp(nullptr, a) == 0 && ParseIp("10.1.2.3", a) == 1);
    EXPECT_EXIT(static_cast<void>(ParseIp(padding + "1.2.3.44", a)), testing::KilledBySignal(SIGABRT),
                "ParseIp: text of 128 bytes does not fit into 128");
    const unsigned char b[4] = {10, 1, 9, 2};
    const unsigned char masks[][4] = {{255, 255, 0, 254}, {0, 0, 0, 1}, {0, 0, 8, 0}};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(SameSubnet(a, b, masks[i]), i == 0 ? 1 : 0) << "mask " << i;
    }
}

TEST(TextTest, HexDigits) {
    EXPECT_EQ(BytesToHex(std::string("\x00\xFF\x9A", 3)), "00FF9A");
    EXPECT_EQ(HexToBytes("01ffFF9aA9"), "\x01\xFF\xFF\x9A\xA9");
    EXPECT_EQ(HexToBytes("4142F"), "AB");
    const std::pair<const char*, std::string> rows[] = {
        {"C0:A8:01:0A", "192.168.1.10"},
        {"c0xa8yffzFF and so on", "192.168.255.255"},
        {"G0:zZ:-1", "0.83.97.89"},        // 16*16, 35*16+35, (45-55)*16+1, two zero characters
        {"C0:A8:01:1", "192.168.1.217"}};  // 1*16 and a zero character
    for (const auto& [hex, dotted] : rows) {
        char buffer[16];
        EXPECT_EQ(HexIpToDotted(hex, buffer), dotted) << hex;
    }
}

TEST(TextTest, ByteQuantities) {
    const std::tuple<std::int64_t, const char*, const char*> rows[] = {{1024, "1024 B", "1024 B"},
                                                                       {1025, "1.0 KB", "1.0 kB"},
                                                                       {1048577, "1.00 MB", "1.00 MB"},
                                                                       {3LL << 29, "1.500 GB", "1.500 GB"},
                                                                       {2000000000000, "1.8190 Tbps", "1.8190 TB"},
                                                                       {3LL << 49, "1.500000", "1.50000 PB"},
                                                                       {INT64_MAX, "8.000000", "8.000000 EB"}};
    char buffer[32];
    for (const auto& [value, rate, size] : rows) {
        EXPECT_STREQ(FormatByteRate(buffer, sizeof buffer, static_cast<double>(value)), rate);
        EXPECT_EQ(FormatByteSize(value), size);
    }
    EXPECT_EQ(FormatByteSize(INT64_MIN), "-9223372036854775808 B");
    EXPECT_STREQ(FormatByteRate(buffer, sizeof buffer, HUGE_VAL), "inf");
    EXPECT_STREQ(FormatByteRate(buffer, 0, 1536.0), "inf");
    EXPECT_STREQ(FormatByteRate(buffer, 6, 1536.0), "1.5 K");
}

TEST(TextTest, ReplacesErasesAndComparesEnds) {
    const std::tuple<std::string, const char*, const char*, const char*, const char*> rows[] = {
        {"aaa", "a", "aa", "aaaaaa", ""}, {"aaaaa", "aa", "b", "bba", "a"}, {"xaabb", "ab", "ba", "xabab", "x"},
        {"ababcc", "abc", "", "abc", ""}, {"ab", "abc", "x", "ab", "ab"},   {"abc", "", "x", "abc", "abc"}};
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

TEST(StreamRangeTest, FindsTheFirstMatchInAnyBlockAndAlwaysComesToAnEnd) {
    const ScratchDir scratch;
    const std::string dots(10000, '.');
    const std::string block(4096, 'x');
    const auto at = [&](std::size_t offset, const std::string& part) {
        return std::string(dots).replace(offset, part.size(), part);
    };
    const std::tuple<std::string, std::string, long, std::uint64_t, long> rows[] = {
        {"abxab", "ab", 0, 0, 0},
        {"abxab", "ab", 1, 3, 3},
        {"abxx", "ab", 1, 0, 4},
        {"ab", "abc", 0, 0, 2},
        {"abc", "", 2, 2, 2},
        {at(4095, "ab"), "ab", 0, 4095, 4095},
        {at(4096, "ab"), "ab", 0, 4096, 4096},
        {at(5904, block), block, 0, 5904, 5904},
        {at(0, block + "x"), block + "x", 0, 0, 4096}};
    for (const auto& [text, needle, start, expected, positionAfter] : rows) {
        const UniqueFile stream(std::fopen(scratch.Write("text", text).c_str(), "r"));
        std::fseek(stream.get(), start, SEEK_SET);
        EXPECT_EQ(FindInStream(stream.get(), needle.data(), needle.size()), expected) << text;
        EXPECT_EQ(std::ftell(stream.get()), positionAfter) << text;
    }
    std::FILE* const pipe = popen("echo abc", "r");
    EXPECT_EQ(FindInStream(pipe, "b", 1), 0U) << "a pipe cannot go back to the match";
    pclose(pipe);
}

TEST(StreamRangeTest, CopiesAndReadsRangesThatFit) {
    const ScratchDir scratch;
    const std::string copy = scratch / "copy";
    constexpr std::uint64_t kHuge = ~std::uint64_t{0};
    const std::string text = Pattern(9000);
    const std::tuple<std::uint64_t, std::uint64_t, std::size_t, std::size_t, bool> rows[] = {
        {0, 0, 9000, 9000, true},       {0, 0, 8999, 9000, false},       {8999, 0, 0, 1, false},
        {1, 4097, 4096, 4096, true},    {1, 4098, 4097, 4097, true},     {1, 4098, 4096, 4097, false},
        {8000, 9500, 1500, 1000, true}, {8000, 9500, 1499, 1000, false}, {20, 10, 9, 0, true},
        {9001, 0, 9, 0, true},          {8999, kHuge, 9000, 1, false},   {kHuge - 9, kHuge, 9, 0, true}};
    for (const auto& [from, to, capacity, expectedLength, fits] : rows) {
        SCOPED_TRACE(std::to_string(from) + " to " + std::to_string(to));
        const std::string expected = text.substr(from % 9001, expectedLength);
        const UniqueFile in(std::fopen(scratch.Write("text", text).c_str(), "r"));
        EXPECT_TRUE(CopyStreamRange(in.get(), UniqueFile(std::fopen(copy.c_str(), "w")).get(), from, to));
        EXPECT_EQ(TempDir::ReadPath(copy), expected);
        std::string buffer(capacity, '#');
        EXPECT_EQ(ReadStreamRange(in.get(), buffer.data(), capacity, from, to), fits);
        const std::string untouched(fits ? capacity - expected.size() : capacity, '#');
        EXPECT_EQ(buffer, fits ? expected + untouched : untouched);
    }
}

TEST(ShownTextTest, ShowsEveryByteThatCouldDeceive) {
    const std::pair<const char*, const char*> rows[] = {
        {"plain / text", "plain / text"},
        {"\x1F\x20\x7E\x7F", "\\x1f ~\\x7f"},
        {"a\\x41", "a\\x5cx41"},
        {"\xC2\x80\xC2\x9F\xC2\xA0", "\\xc2\\x80\\xc2\\x9f\xC2\xA0"},
        {"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x99\x82", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x99\x82"},
        {"\xC3", "\\xc3"},
        {"\xC3(", "\\xc3("},
        {"\xE2\x82", "\\xe2\\x82"},
        {"\x80", "\\x80"},
        {"\xC1\xBF", "\\xc1\\xbf"},
        {"\xE0\x9F\xBF\xE0\xA0\x80", "\\xe0\\x9f\\xbf\xE0\xA0\x80"},
        {"\xED\x9F\xBF\xED\xA0\x80", "\xED\x9F\xBF\\xed\\xa0\\x80"},
        {"\xF0\x8F\xBF\xBF\xF5\x80\x80\x80", "\\xf0\\x8f\\xbf\\xbf\\xf5\\x80\\x80\\x80"},
        {"\xF4\x8F\xBF\xBF\xF4\x90\x80\x80", "\xF4\x8F\xBF\xBF\\xf4\\x90\\x80\\x80"},
        {"\xD8\x9B\xD8\x9C\xD8\x9D", "\xD8\x9B\\xd8\\x9c\xD8\x9D"},
        {"\xE2\x80\x8D\xE2\x80\x8E\xE2\x80\x8F\xE2\x80\x90", "\xE2\x80\x8D\\xe2\\x80\\x8e\\xe2\\x80\\x8f\xE2\x80\x90"},
        {"\xE2\x80\xA9\xE2\x80\xAA\xE2\x80\xAE\xE2\x80\xAF", "\xE2\x80\xA9\\xe2\\x80\\xaa\\xe2\\x80\\xae\xE2\x80\xAF"},
        {"\xE2\x81\xA5\xE2\x81\xA6\xE2\x81\xA9\xE2\x81\xAA", "\xE2\x81\xA5\\xe2\\x81\\xa6\\xe2\\x81\\xa9\xE2\x81\xAA"}};
    for (const auto& [text, shown] : rows) {
        EXPECT_EQ(velora::utils::ShownText(text), shown);
    }
    EXPECT_EQ(velora::utils::ShownText({"\0", 1}), "\\x00");
}

}  // namespace
}  // namespace MiscUtils
