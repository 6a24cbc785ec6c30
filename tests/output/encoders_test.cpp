// The headers that encoders build, byte for byte, and what becomes of times that a format cannot hold.

#include <limits>
#include <span>
#include <string>

#include <gtest/gtest.h>

#include "velora/output/pcapng_encoder.h"
#include "velora/output/record_encoder.h"

namespace velora::output {
namespace {

using enum TimeChange;

constexpr std::int64_t kEarliest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kLatest = std::numeric_limits<std::int64_t>::max();

std::string HexOf(std::span<const std::uint8_t> bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        constexpr char kDigits[] = "0123456789abcdef";
        text += {kDigits[byte >> 4], kDigits[byte & 15]};
    }
    return text;
}

TEST(RecordEncoderTest, HoldsTheNearestTime) {
    constexpr std::int64_t kSecond = 1'000'000'000;
    constexpr std::int64_t kEnd = kSecond << 32;
    const struct {
        std::int64_t time;
        const char* micro;
        const char* nano;
        TimeChange microChange;
        TimeChange nanoChange;
    } rows[] = {
        {kEarliest, "00000000 00000000", "00000000 00000000", kBefore1970, kBefore1970},
        {-1, "00000000 00000000", "00000000 00000000", kBefore1970, kBefore1970},
        {0, "00000000 00000000", "00000000 00000000", kAsIs, kAsIs},
        {1, "00000000 00000000", "00000000 01000000", kFinerThanUnit, kAsIs},
        {999, "00000000 00000000", "00000000 e7030000", kFinerThanUnit, kAsIs},
        {1000, "00000000 01000000", "00000000 e8030000", kAsIs, kAsIs},
        {kSecond - 1, "00000000 3f420f00", "00000000 ffc99a3b", kFinerThanUnit, kAsIs},
        {kSecond, "01000000 00000000", "01000000 00000000", kAsIs, kAsIs},
        {kEnd - 1000, "ffffffff 3f420f00", "ffffffff 18c69a3b", kAsIs, kAsIs},
        {kEnd - 1, "ffffffff 3f420f00", "ffffffff ffc99a3b", kFinerThanUnit, kAsIs},
        {kEnd, "ffffffff 3f420f00", "ffffffff ffc99a3b", kBeyondLast, kBeyondLast},
        {kLatest, "ffffffff 3f420f00", "ffffffff ffc99a3b", kBeyondLast, kBeyondLast},
    };
    const RecordEncoder micro(RecordEncoder::Unit::kMicroseconds), nano(RecordEncoder::Unit::kNanoseconds);
    EXPECT_EQ(HexOf(micro.EncodeFileHeader(262144, 1)), "d4c3b2a10200040000000000000000000000040001000000");
    EXPECT_EQ(HexOf(nano.EncodeFileHeader(0x12345678, 0xF4030201)), "4d3cb2a102000400000000000000000078563412010203f4");
    for (const auto& row : rows) {
        SCOPED_TRACE(row.time);
        std::array<std::uint8_t, RecordEncoder::kHeaderSize> header{};
        EXPECT_EQ(micro.EncodeHeader(header.data(), row.time, 0x01020304, 0xFFFFFFFE), row.microChange);
        EXPECT_EQ(HexOf(header).insert(8, " "), row.micro + std::string("04030201feffffff"));
        EXPECT_EQ(nano.EncodeHeader(header.data(), row.time, 0, 5), row.nanoChange);
        EXPECT_EQ(HexOf(header).insert(8, " "), row.nano + std::string("0000000005000000"));
    }
}

TEST(PcapNgEncoderTest, DescribesSectionAndInterfaces) {
    EXPECT_EQ(HexOf(PcapNgEncoder::SectionHeader()), "0a0d0d0a1c0000004d3c2b1a01000000ffffffffffffffff1c000000");
    const auto describe = [](std::uint32_t linkType, const char* name) {
        return HexOf(
            PcapNgEncoder::InterfaceDescription(linkType, 0x40000, name).value_or(std::vector<std::uint8_t>()));
    };
    const std::string nanoseconds = "090001000900000000000000";
    EXPECT_EQ(describe(0x0114, ""), "01000000200000001401000000000400" + nanoseconds + "20000000");
    EXPECT_EQ(describe(0xFFFF, "abc\n"), "0100000028000000ffff000000000400020004006162630a" + nanoseconds + "28000000");
    EXPECT_EQ(describe(1, "\u00fcabc"),
              "010000002c000000010000000000040002000500c3bc616263000000" + nanoseconds + "2c000000");
    EXPECT_EQ(describe(0x10000, ""), "") << "the format has 16 bits for it";
}

TEST(PcapNgEncoderTest, PadsPacketsAndHoldsTimesFrom1970On) {
    const struct {
        std::int64_t time;
        TimeChange change;
        std::uint32_t captured;
        const char* head;
        const char* tail;
    } rows[] = {
        {kEarliest, kBefore1970, 0, "06000000200000000b0a0000000000000000000000000000feffffff", "20000000"},
        {-1, kBefore1970, 1, "06000000240000000b0a0000000000000000000001000000feffffff", "00000024000000"},
        {0, kAsIs, 2, "06000000240000000b0a0000000000000000000002000000feffffff", "000024000000"},
        {0x0102030405060708, kAsIs, 3, "06000000240000000b0a0000040302010807060503000000feffffff", "0024000000"},
        {kLatest, kAsIs, 4, "06000000240000000b0a0000ffffff7fffffffff04000000feffffff", "24000000"},
        {1, kAsIs, 1U << 27, "06000000200000080b0a0000000000000100000000000008feffffff", "20000008"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.time);
        std::array<std::uint8_t, PcapNgEncoder::kHeadSize> head{};
        std::array<std::uint8_t, PcapNgEncoder::kMostTail> tail;
        tail.fill(0xEE);
        EXPECT_EQ(PcapNgEncoder::EncodeHead(head.data(), row.time, 0x0A0B, row.captured, 0xFFFFFFFE), row.change);
        EXPECT_EQ(HexOf(head), row.head);
        EXPECT_EQ(HexOf(std::span(tail).first(PcapNgEncoder::EncodeTail(tail.data(), row.captured))), row.tail);
    }
}

}  // namespace
}  // namespace velora::output
