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

constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kEnd = kSecond << 32;
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

using Unit = RecordEncoder::Unit;

TEST(RecordEncoderTest, WritesTheHeaderOfAFileAndOfARecord) {
    const RecordEncoder micro(Unit::kMicroseconds), nano(Unit::kNanoseconds);
    EXPECT_EQ(HexOf(micro.EncodeFileHeader(262144, 1)), "d4c3b2a10200040000000000000000000000040001000000");
    EXPECT_EQ(HexOf(nano.EncodeFileHeader(0x12345678, 0xF4030201)), "4d3cb2a102000400000000000000000078563412010203f4");
    std::array<std::uint8_t, RecordEncoder::kHeaderSize> header{};
    EXPECT_EQ(micro.EncodeHeader(header.data(), 1'000'001'000, 0x01020304, 0xFFFFFFFE), kAsIs);
    EXPECT_EQ(HexOf(header), "010000000100000004030201feffffff");
}

// The time as it is written; `change` is what is to become of it.
std::string TimeOf(Unit unit, std::int64_t time, TimeChange change = kAsIs) {
    std::array<std::uint8_t, RecordEncoder::kHeaderSize> header{};
    EXPECT_EQ(RecordEncoder(unit).EncodeHeader(header.data(), time, 0, 0), change) << time;
    return HexOf(std::span(header).first(8));
}

TEST(RecordEncoderTest, HoldsTheNearestTimeInMicroseconds) {
    constexpr auto kMicro = Unit::kMicroseconds;
    EXPECT_EQ(TimeOf(kMicro, kEarliest, kBefore1970), "0000000000000000");
    EXPECT_EQ(TimeOf(kMicro, -1, kBefore1970), "0000000000000000");
    EXPECT_EQ(TimeOf(kMicro, 0), "0000000000000000");
    EXPECT_EQ(TimeOf(kMicro, 999, kFinerThanUnit), "0000000000000000");
    EXPECT_EQ(TimeOf(kMicro, 1000), "0000000001000000");
    EXPECT_EQ(TimeOf(kMicro, kSecond - 1, kFinerThanUnit), "000000003f420f00");
    EXPECT_EQ(TimeOf(kMicro, kSecond), "0100000000000000");
    EXPECT_EQ(TimeOf(kMicro, kEnd - 1000), "ffffffff3f420f00");
    EXPECT_EQ(TimeOf(kMicro, kEnd - 1, kFinerThanUnit), "ffffffff3f420f00");
    EXPECT_EQ(TimeOf(kMicro, kEnd, kBeyondLast), "ffffffff3f420f00");
    EXPECT_EQ(TimeOf(kMicro, kLatest, kBeyondLast), "ffffffff3f420f00");
}

TEST(RecordEncoderTest, HoldsTheNearestTimeInNanoseconds) {
    constexpr auto kNano = Unit::kNanoseconds;
    EXPECT_EQ(TimeOf(kNano, -1, kBefore1970), "0000000000000000");
    EXPECT_EQ(TimeOf(kNano, 1), "0000000001000000");
    EXPECT_EQ(TimeOf(kNano, kSecond - 1), "00000000ffc99a3b");
    EXPECT_EQ(TimeOf(kNano, kEnd - 1), "ffffffffffc99a3b");
    EXPECT_EQ(TimeOf(kNano, kEnd, kBeyondLast), "ffffffffffc99a3b");
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

// The head that is written; `change` is what is to become of the time.
std::string HeadOf(std::int64_t time, std::uint32_t captured, TimeChange change = kAsIs) {
    std::array<std::uint8_t, PcapNgEncoder::kHeadSize> head{};
    EXPECT_EQ(PcapNgEncoder::EncodeHead(head.data(), time, 0x0A0B, captured, 0xFFFFFFFE), change);
    return HexOf(head);
}

TEST(PcapNgEncoderTest, HoldsTimesFrom1970On) {
    const std::string before = "06000000200000000b0a0000", behind = "00000000feffffff";
    EXPECT_EQ(HeadOf(kEarliest, 0, kBefore1970), before + "0000000000000000" + behind);
    EXPECT_EQ(HeadOf(-1, 0, kBefore1970), before + "0000000000000000" + behind);
    EXPECT_EQ(HeadOf(0x0102030405060708, 0), before + "0403020108070605" + behind);
    EXPECT_EQ(HeadOf(kLatest, 0), before + "ffffff7fffffffff" + behind);
}

TEST(PcapNgEncoderTest, PadsPackets) {
    const auto tail = [](std::uint32_t captured, const std::string& blockLength) {
        std::array<std::uint8_t, PcapNgEncoder::kMostTail> bytes;
        bytes.fill(0xEE);
        EXPECT_TRUE(HeadOf(0, captured).starts_with("06000000" + blockLength)) << captured;
        return HexOf(std::span(bytes).first(PcapNgEncoder::EncodeTail(bytes.data(), captured)));
    };
    EXPECT_EQ(tail(0, "20000000"), "20000000");
    EXPECT_EQ(tail(1, "24000000"), "00000024000000");
    EXPECT_EQ(tail(2, "24000000"), "000024000000");
    EXPECT_EQ(tail(3, "24000000"), "0024000000");
    EXPECT_EQ(tail(4, "24000000"), "24000000");
    EXPECT_EQ(tail(1U << 27, "20000008"), "20000008");
}

}  // namespace
}  // namespace velora::output
