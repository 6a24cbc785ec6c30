#include <cmath>
#include <csignal>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "utils/byte_quantity.h"
#include "utils/format_buffer.h"
#include "utils/guid.h"
#include "utils/hex_text.h"
#include "utils/net_address_text.h"

namespace MiscUtils {
namespace {

using Texts = std::pair<std::string, std::string>;

const Guid kGuid{0x6B29FC40, 0xCA47, 0x1067, {0xB3, 0x1D, 0x00, 0xDD, 0x01, 0x06, 0x62, 0xDA}};
const Guid kSmall{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
const Guid kUntouched{};

TEST(TextFormattingTest, UnboundedFormattersIgnoreTheSize) {
    const unsigned char mac[6] = {0x00, 0x1B, 0x44, 0x11, 0xFA, 0xFF};
    char text[64];
    EXPECT_EQ(GuidToString(kGuid, text, 1), text);
    EXPECT_STREQ(text, "{6B29FC40-CA47-1067-B31D-00DD010662DA}");
    EXPECT_STREQ(GuidToFileName(kSmall, "pre", "bin", text, 1), "pre-00000001-0002-0003-0405-060708090A0B.bin");
    EXPECT_STREQ(MacToString(mac, text, 1), "00:1B:44:11:FA:FF");
    EXPECT_EQ(FormatBufferCount(text, 0, "%d.%s", 12, "xyz"), 6);
    EXPECT_STREQ(text, "12.xyz");
}

TEST(TextFormattingTest, ParseGuid) {
    const std::pair<const char*, Guid> rows[] = {
        {"{6B29FC40-CA47-1067-B31D-00DD010662DA}", kGuid},
        {"{6b29fc40-ca47-1067-b31d-00dd010662daFF}-{", kGuid},
        {"{6B29FC40-CA47-1067-B31D-00DD010662DA", kGuid},
        {"{1-2-3-0405-060708090AB}", kSmall},
        {"{-1-0-0-0000-000000000000}", {0xFFFFFFFF, 0, 0, {}}},
        {"{6B29FC40-CA47-1067-B31D-00DD010662}", kUntouched},
        {"6B29FC40-CA47-1067-B31D-00DD010662DA", kUntouched},
        {"{6B29FC40- CA47-1067-B31D-00DD010662DA}", kUntouched},
        {"{6B29FC40-CA47-1067-B31D-00DD010662DA}\n", kUntouched},
        {"{6B29FC40-CA47-1067-B31D-00DD010662DA}G", kUntouched},
    };
    for (const auto& [text, expected] : rows) {
        Guid guid = kUntouched;
        EXPECT_EQ(ParseGuid(text, guid), expected == kUntouched ? 0 : 1) << text;
        EXPECT_TRUE(guid == expected) << text;
    }
    EXPECT_TRUE(ParseGuidOrThrow(rows[0].first) == kGuid);
    EXPECT_THAT([] { static_cast<void>(ParseGuidOrThrow("{}")); },
                testing::ThrowsMessage<std::invalid_argument>("Invalid guid format, expect {..}"));
}

TEST(TextFormattingDeathTest, ParseIpAndBack) {
    const std::string padding(120, ' ');
    const std::string untouched = "9.9.9.9";
    const Texts rows[] = {{"10.0.0.1", "10.0.0.1"},      {"255.255.255.255", "255.255.255.255"},
                          {"256.2.3.4", untouched},      {"192.168.1.300", untouched},
                          {"1.2.3", untouched},          {"1.2.3.-1", untouched},
                          {" 010. +2.3.4x", "10.2.3.4"}, {padding + "1.2.3.4", "1.2.3.4"}};
    for (const auto& [text, expected] : rows) {
        unsigned char fromText[4] = {9, 9, 9, 9};
        unsigned char fromString[4] = {9, 9, 9, 9};
        char back[16];
        EXPECT_EQ(ParseIp(text.c_str(), fromText), expected == untouched ? 0 : 1) << text;
        EXPECT_EQ(ParseIp(text, fromString), expected == untouched ? 0 : 1) << text;
        EXPECT_EQ(IpToString(fromText, back, 1), expected);
        EXPECT_EQ(IpToString(fromString, back, 1), expected);
    }
    unsigned char address[4];
    EXPECT_EQ(ParseIp(nullptr, address), 0);
    EXPECT_EXIT(static_cast<void>(ParseIp(padding + "1.2.3.44", address)), testing::KilledBySignal(SIGABRT),
                "ParseIp: text of 128 bytes does not fit into 128");
}

TEST(TextFormattingTest, SameSubnetLooksAtTheBitsOfTheMask) {
    const unsigned char a[4] = {10, 1, 2, 3};
    const unsigned char b[4] = {10, 1, 9, 2};
    const unsigned char masks[][4] = {
        {255, 255, 0, 0}, {255, 255, 0, 254}, {255, 255, 255, 0}, {255, 255, 0, 1}, {0, 0, 8, 0}};
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(SameSubnet(a, b, masks[i]), i < 2 ? 1 : 0) << i;
    }
}

TEST(TextFormattingTest, HexDigits) {
    EXPECT_EQ(BytesToHex(std::string("\x00\xFF\x9A", 3)), "00FF9A");
    EXPECT_EQ(HexToBytes("01ffFF9aA9"), "\x01\xFF\xFF\x9A\xA9");
    EXPECT_EQ(HexToBytes("4142F"), "AB");
    const Texts rows[] = {{"C0:A8:01:0A", "192.168.1.10"},
                          {"c0xa8yffzFF and so on", "192.168.255.255"},
                          {"G0:zZ:-1", "0.83.97.89"},       // 16*16, 35*16+35, (45-55)*16+1, two zero characters
                          {"C0:A8:01:1", "192.168.1.217"},  // 1*16 and a zero character
                          {"", "89.89.89.89"}};
    for (const auto& [hex, dotted] : rows) {
        char buffer[16];
        EXPECT_EQ(HexIpToDotted(hex, buffer), dotted) << hex;
    }
}

TEST(TextFormattingTest, ByteQuantities) {
    const std::tuple<std::int64_t, const char*, const char*> rows[] = {
        {INT64_MIN, "-9223372036854775808 B", "-9223372036854775808 B"},
        {0, "0 B", "0 B"},
        {1024, "1024 B", "1024 B"},
        {1025, "1.0 KB", "1.0 kB"},
        {1048576, "1024.0 KB", "1024.0 kB"},
        {1048577, "1.00 MB", "1.00 MB"},
        {3LL << 29, "1.500 GB", "1.500 GB"},
        {2000000000000, "1.8190 Tbps", "1.8190 TB"},
        {1LL << 50, "1024.0000 Tbps", "1024.0000 TB"},
        {3LL << 49, "1.500000", "1.50000 PB"},
        {INT64_MAX, "8.000000", "8.000000 EB"},
    };
    char buffer[32];
    for (const auto& [value, rate, size] : rows) {
        EXPECT_STREQ(FormatByteRate(buffer, sizeof buffer, static_cast<double>(value)), rate);
        EXPECT_EQ(FormatByteSize(value), size);
    }
    EXPECT_STREQ(FormatByteRate(buffer, sizeof buffer, HUGE_VAL), "inf");
    EXPECT_STREQ(FormatByteRate(buffer, 0, 1536.0), "inf");
    EXPECT_STREQ(FormatByteRate(buffer, 6, 1536.0), "1.5 K");
}

}  // namespace
}  // namespace MiscUtils
