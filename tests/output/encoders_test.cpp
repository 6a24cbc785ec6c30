// The headers that encoders build, byte for byte, and what becomes of times that a format cannot hold.

#include <limits>
#include <span>
#include <string>

#include <gtest/gtest.h>

#include "velora/output/pcapng_encoder.h"
#include "velora/output/record_encoder.h"
#include "velora/utils/hex_text.h"

namespace velora::output {
namespace {

using enum TimeChange;

constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kEnd = kSecond << 32;
constexpr std::int64_t kEarliest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kLatest = std::numeric_limits<std::int64_t>::max();

std::string HexOf(std::span<const std::uint8_t> bytes) {
    return MiscUtils::BytesToHex({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

const RecordEncoder kMicro(RecordEncoder::Unit::kMicroseconds), kNano(RecordEncoder::Unit::kNanoseconds);

TEST(RecordEncoderTest, WritesTheHeaderOfAFile) {
    EXPECT_EQ(HexOf(kMicro.EncodeFileHeader(262144, 1)), "D4C3B2A10200040000000000000000000000040001000000");
    EXPECT_EQ(HexOf(kNano.EncodeFileHeader(0x12345678, 0xF4030201)),
              "4D3CB2A102000400000000000000000078563412010203F4");
}

TEST(RecordEncoderTest, HoldsTheNearestTime) {
    const struct {
        const RecordEncoder& encoder;
        std::int64_t in;
        const char* out;
        TimeChange change = kAsIs;
    } rows[] = {
        {.encoder = kMicro, .in = kEarliest, .out = "0000000000000000", .change = kBefore1970},
        {.encoder = kMicro, .in = -1, .out = "0000000000000000", .change = kBefore1970},
        {.encoder = kMicro, .in = 999, .out = "0000000000000000", .change = kFinerThanUnit},
        {.encoder = kMicro, .in = 1000, .out = "0000000001000000"},
        {.encoder = kMicro, .in = kEnd - 1000, .out = "FFFFFFFF3F420F00"},
        {.encoder = kMicro, .in = kEnd - 1, .out = "FFFFFFFF3F420F00", .change = kFinerThanUnit},
        {.encoder = kMicro, .in = kEnd, .out = "FFFFFFFF3F420F00", .change = kBeyondLast},
        {.encoder = kNano, .in = kSecond + 1, .out = "0100000001000000"},
        {.encoder = kNano, .in = kEnd - 1, .out = "FFFFFFFFFFC99A3B"},
        {.encoder = kNano, .in = kEnd, .out = "FFFFFFFFFFC99A3B", .change = kBeyondLast},
    };
    for (const auto& row : rows) {
        std::array<std::uint8_t, RecordEncoder::kHeaderSize> header{};
        EXPECT_EQ(row.encoder.EncodeHeader(header.data(), row.in, 0x01020304, 0xFFFFFFFE), row.change) << row.in;
        EXPECT_EQ(HexOf(header), row.out + std::string("04030201FEFFFFFF")) << row.in;
    }
}

TEST(PcapNgEncoderTest, DescribesSectionAndInterfaces) {
    EXPECT_EQ(HexOf(PcapNgEncoder::SectionHeader()), "0A0D0D0A1C0000004D3C2B1A01000000FFFFFFFFFFFFFFFF1C000000");
    const auto describe = [](std::uint32_t linkType, const char* name) {
        return HexOf(PcapNgEncoder::InterfaceDescription(linkType, 0x40000, name).value());
    };
    const std::string nanoseconds = "090001000900000000000000";
    EXPECT_EQ(describe(0x0114, ""), "01000000200000001401000000000400" + nanoseconds + "20000000");
    EXPECT_EQ(describe(0xFFFF, "abc\n"), "0100000028000000FFFF000000000400020004006162630A" + nanoseconds + "28000000");
    EXPECT_EQ(describe(1, "\u00fcabc"),
              "010000002C000000010000000000040002000500C3BC616263000000" + nanoseconds + "2C000000");
    EXPECT_FALSE(PcapNgEncoder::InterfaceDescription(0x10000, 0x40000, "")) << "the format has 16 bits for it";
}

TEST(PcapNgEncoderTest, PutsPacketsBetweenHeadAndPaddedTail) {
    const struct {
        std::int64_t time;
        std::uint32_t size;
        std::string length;  // of the block
        std::string out;     // time and size
        std::string pad = "";
        TimeChange change = kAsIs;
    } rows[] = {
        {.time = -1,
         .size = 1,
         .length = "24000000",
         .out = "000000000000000001000000",
         .pad = "000000",
         .change = kBefore1970},
        {.time = 0, .size = 2, .length = "24000000", .out = "000000000000000002000000", .pad = "0000"},
        {.time = 0x0102030405060708, .size = 3, .length = "24000000", .out = "040302010807060503000000", .pad = "00"},
        {.time = kLatest, .size = 4, .length = "24000000", .out = "FFFFFF7FFFFFFFFF04000000"},
        {.time = kLatest, .size = 1U << 27, .length = "20000008", .out = "FFFFFF7FFFFFFFFF00000008"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.size);
        std::array<std::uint8_t, PcapNgEncoder::kHeadSize> head{};
        std::array<std::uint8_t, PcapNgEncoder::kMostTail> tail;
        tail.fill(0xEE);
        EXPECT_EQ(PcapNgEncoder::EncodeHead(head.data(), row.time, 0x0A0B, row.size, 0xFFFFFFFE), row.change);
        EXPECT_EQ(HexOf(head), "06000000" + row.length + "0B0A0000" + row.out + "FEFFFFFF");
        EXPECT_EQ(HexOf(std::span(tail).first(PcapNgEncoder::EncodeTail(tail.data(), row.size))), row.pad + row.length);
    }
}

}  // namespace
}  // namespace velora::output
