#include <cerrno>
#include <cmath>
#include <csignal>

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

namespace MiscUtils {
namespace {

TEST(TextTest, OfErrors) {
    errno = EAGAIN;
    EXPECT_EQ(ErrnoText(0).text, "Success");
    EXPECT_EQ(ErrnoText(-5).text + std::to_string(ErrnoText(-5).code), "Unknown error -5-5");
    EXPECT_EQ(errno, EAGAIN);
}

const Guid kGuid{0x6B29FC40, 0xCA47, 0x1067, {0xB3, 0x1D, 0x00, 0xDD, 0x01, 0x06, 0x62, 0xDA}};
const Guid kSmall{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};

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

// The replay of fuzz/text_forms.cpp reads texts back and sees that refused ones leave everything alone.
TEST(TextTest, ReadsAGuid) {
    const std::pair<const char*, Guid> rows[] = {{"{6B29FC40-CA47-1067-B31D-00DD010662DA", kGuid},
                                                 {"{6b29fc40-ca47-1067-b31d-00dd010662daFF}-{", kGuid},
                                                 {"{1-2-3-0405-060708090AB}", kSmall},
                                                 {"{6B29FC40-CA47-1067-B31D-00DD010662}", {}},
                                                 {"{6B29FC40- CA47-1067-B31D-00DD010662DA}", {}},
                                                 {"6B29FC40-CA47-1067-B31D-00DD010662DA", {}},
                                                 {"{6B29FC40-CA47-1067-B31D-00DD010662DA}G", {}}};
    for (const auto& [text, expected] : rows) {
        Guid guid{};
        EXPECT_EQ(ParseGuid(text, guid), expected == Guid{} ? 0 : 1) << text;
        EXPECT_TRUE(guid == expected) << text;
    }
    EXPECT_EQ(ErrorOf<std::invalid_argument>(ParseGuidOrThrow, "{}"), "Invalid guid format, expect {..}");
}

TEST(TextDeathTest, ReadsAnAddress) {
    const auto read = [](const std::string& text) {
        unsigned char address[4];
        char back[16];
        return ParseIp(text, address) == 1 ? IpToString(address, back, 1) : std::string("refused");
    };
    const std::string padding(120, ' ');
    EXPECT_EQ(read(padding + "1.2.3.4"), "1.2.3.4");
    EXPECT_EQ(read(" 010. +2.255.4x"), "10.2.255.4");
    for (const char* const refused : {"1.2.3.-1", "1.2.3.256", "1.2.3"}) {
        EXPECT_EQ(read(refused), "refused") << refused;
    }
    EXPECT_EXIT(read(padding + "1.2.3.44"), testing::KilledBySignal(SIGABRT),
                "ParseIp: text of 128 bytes does not fit into 128");
    EXPECT_EQ(ParseIp(nullptr, nullptr), 0);
}

TEST(TextTest, ComparesSubnets) {
    const unsigned char one[4] = {10, 1, 2, 3}, other[4] = {10, 1, 9, 2};
    const unsigned char equal[4] = {255, 255, 0, 254}, last[4] = {0, 0, 0, 1}, third[4] = {0, 0, 8, 0};
    EXPECT_EQ(SameSubnet(one, other, equal), 1);
    EXPECT_EQ(SameSubnet(one, other, last) + SameSubnet(one, other, third), 0);
}

TEST(TextTest, HexDigits) {
    EXPECT_EQ(BytesToHex(std::string("\x00\xFF\x9A", 3)), "00FF9A");
    EXPECT_EQ(HexToBytes("01ffFF9aA9F"), "\x01\xFF\xFF\x9A\xA9");
    char dotted[16];
    EXPECT_STREQ(HexIpToDotted("c0xA8yffzFF and so on", dotted), "192.168.255.255");
    // 16*16, 35*16+35, (45-55)*16+1, two zero characters
    EXPECT_STREQ(HexIpToDotted("G0:zZ:-1", dotted), "0.83.97.89");
}

TEST(TextTest, ByteQuantities) {
    char buffer[32];
    const auto rateAndSize = [&](std::int64_t value) {
        return std::string(FormatByteRate(buffer, sizeof buffer, static_cast<double>(value))) + ", " +
               FormatByteSize(value);
    };
    EXPECT_EQ(rateAndSize(1024), "1024 B, 1024 B");
    EXPECT_EQ(rateAndSize(1025), "1.0 KB, 1.0 kB");
    EXPECT_EQ(rateAndSize(1048577), "1.00 MB, 1.00 MB");
    EXPECT_EQ(rateAndSize(3LL << 29), "1.500 GB, 1.500 GB");
    EXPECT_EQ(rateAndSize(2000000000000), "1.8190 Tbps, 1.8190 TB");
    EXPECT_EQ(rateAndSize(3LL << 49), "1.500000, 1.50000 PB");
    EXPECT_EQ(rateAndSize(INT64_MAX), "8.000000, 8.000000 EB");
    EXPECT_EQ(FormatByteSize(INT64_MIN), "-9223372036854775808 B");
    EXPECT_STREQ(FormatByteRate(buffer, sizeof buffer, HUGE_VAL), "inf");
    EXPECT_STREQ(FormatByteRate(buffer, 0, 1536.0), "inf") << "nothing is written";
    EXPECT_STREQ(FormatByteRate(buffer, 6, 1536.0), "1.5 K");
}

// The replay of fuzz/byte_search.cpp holds edits, ranges and matches against the plainest way to do the same.
TEST(StreamRangeTest, FindsWhatFitsIntoABlock) {
    const std::string block(4096, 'x');
    const std::string text = std::string(5904, '.') + block;
    const UniqueFile stream(fmemopen(const_cast<char*>(text.data()), text.size(), "r"));
    EXPECT_EQ(FindInStream(stream.get(), block.data(), block.size()), 5904U);
    EXPECT_EQ(std::ftell(stream.get()), 5904);
    EXPECT_EQ(FindInStream(stream.get(), (block + "x").data(), block.size() + 1), 0U);
    EXPECT_EQ(std::ftell(stream.get()), 10000) << "behind what was read";
    std::FILE* const pipe = popen("echo abc", "r");
    EXPECT_EQ(FindInStream(pipe, "b", 1), 0U) << "a pipe cannot go back to the match";
    pclose(pipe);
}

TEST(StreamRangeTest, ReadsNothingFromBeyondAllOffsets) {
    constexpr std::uint64_t kHuge = ~std::uint64_t{0};
    const UniqueFile stream(fmemopen(const_cast<char*>("text"), 4, "r"));
    char buffer[9] = "########";
    EXPECT_TRUE(ReadStreamRange(stream.get(), buffer, 9, kHuge - 9, kHuge));
    EXPECT_TRUE(CopyStreamRange(stream.get(), nullptr, kHuge - 9, kHuge));
    EXPECT_FALSE(ReadStreamRange(stream.get(), buffer, 9, 3, kHuge)) << "it need not be there to be too long";
    EXPECT_STREQ(buffer, "########");
}

TEST(ShownTextTest, ShowsEveryByteThatCouldDeceive) {
    const std::pair<const char*, const char*> rows[] = {
        {"/\x1F\x20\x7E\x7F\\x41", "/\\x1f ~\\x7f\\x5cx41"},
        {"\xC2\x80\xC2\x9F\xC2\xA0", "\\xc2\\x80\\xc2\\x9f\xC2\xA0"},
        {"\xC3(\x80(\xE2\x82", "\\xc3(\\x80(\\xe2\\x82"},
        // The replay of fuzz/report_names.cpp sees that nothing passes but UTF-8.
        {"\xE0\xA0\x80\xED\x9F\xBF\xF4\x8F\xBF\xBF", "\xE0\xA0\x80\xED\x9F\xBF\xF4\x8F\xBF\xBF"},
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
