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

using Unit = RecordEncoder::Unit;

TEST(RecordEncoderTest, WritesTheHeaderOfAFileAndOfARecord) {
    const RecordEncoder micro(Unit::kMicroseconds), nano(Unit::kNanoseconds);
    EXPECT_EQ(HexOf(micro.EncodeFileHeader(262144, 1)), "d4c3b2a10200040000000000000000000000040001000000");
    EXPECT_EQ(HexOf(nano.EncodeFileHeader(0x12345678, 0xF4030201)), "4d3cb2a102000400000000000000000078563412010203f4");
    std::array<std::uint8_t, RecordEncoder::kHeaderSize> header{};
    EXPECT_EQ(micro.EncodeHeader(header.data(), 1'000'001'000, 0x01020304, 0xFFFFFFFE), kAsIs);
    EXPECT_EQ(HexOf(header), "010000000100000004030201feffffff");
}

TEST(RecordEncoderTest, HoldsTheNearestTime) {
    constexpr std::int64_t kSecond = 1'000'000'000;
    constexpr std::int64_t kEnd = kSecond << 32;
    const struct {
        std::int64_t time;
        Unit unit;
        TimeChange change;
        const char* written = "0000000000000000";
    } rows[] = {
        {.time = kEarliest, .unit = Unit::kMicroseconds, .change = kBefore1970},
        {.time = -1, .unit = Unit::kNanoseconds, .change = kBefore1970},
        {.time = 0, .unit = Unit::kMicroseconds, .change = kAsIs},
        {.time = 1, .unit = Unit::kMicroseconds, .change = kFinerThanUnit},
        {.time = 1, .unit = Unit::kNanoseconds, .change = kAsIs, .written = "0000000001000000"},
        {.time = 999, .unit = Unit::kMicroseconds, .change = kFinerThanUnit},
        {.time = 1000, .unit = Unit::kMicroseconds, .change = kAsIs, .written = "0000000001000000"},
        {.time = kSecond - 1, .unit = Unit::kMicroseconds, .change = kFinerThanUnit, .written = "000000003f420f00"},
        {.time = kSecond - 1, .unit = Unit::kNanoseconds, .change = kAsIs, .written = "00000000ffc99a3b"},
        {.time = kEnd - 1000, .unit = Unit::kMicroseconds, .change = kAsIs, .written = "ffffffff3f420f00"},
        {.time = kEnd - 1, .unit = Unit::kNanoseconds, .change = kAsIs, .written = "ffffffffffc99a3b"},
        {.time = kEnd, .unit = Unit::kMicroseconds, .change = kBeyondLast, .written = "ffffffff3f420f00"},
        {.time = kLatest, .unit = Unit::kNanoseconds, .change = kBeyondLast, .written = "ffffffffffc99a3b"},
    };
    for (const auto& row : rows) {
        std::array<std::uint8_t, RecordEncoder::kHeaderSize> header{};
        EXPECT_EQ(RecordEncoder(row.unit).EncodeHeader(header.data(), row.time, 0, 0), row.change) << row.time;
        EXPECT_EQ(HexOf(std::span(header).first(8)), row.written) << row.time;
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
    const struct {
        std::uint32_t captured;
        std::string blockLength;
        std::string padding;
    } rows[] = {
        {.captured = 0, .blockLength = "20000000", .padding = ""},
        {.captured = 1, .blockLength = "24000000", .padding = "000000"},
        {.captured = 2, .blockLength = "24000000", .padding = "0000"},
        {.captured = 3, .blockLength = "24000000", .padding = "00"},
        {.captured = 4, .blockLength = "24000000", .padding = ""},
        {.captured = 1U << 27, .blockLength = "20000008", .padding = ""},
    };
    for (const auto& row : rows) {
        std::array<std::uint8_t, PcapNgEncoder::kMostTail> tail;
        tail.fill(0xEE);
        EXPECT_TRUE(HeadOf(0, row.captured).starts_with("06000000" + row.blockLength)) << row.captured;
        EXPECT_EQ(HexOf(std::span(tail).first(PcapNgEncoder::EncodeTail(tail.data(), row.captured))),
                  row.padding + row.blockLength);
    }
}

}  // namespace
}  // namespace velora::output
