// The headers that encoders build, byte for byte, and what becomes of times that a format cannot hold.

#include <cstdint>
#include <limits>
#include <span>
#include <string>

#include <gtest/gtest.h>

#include "capture/pcapng_encoder.h"
#include "capture/record_encoder.h"

namespace velora::capture {
namespace {

template <typename Bytes>
std::string HexOf(const Bytes& bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes) {
        constexpr char kDigits[] = "0123456789abcdef";
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

TEST(RecordEncoderTest, BeginsAFileWithUnitSnaplenAndTheWholeLinkTypeField) {
    EXPECT_EQ(HexOf(RecordEncoder(RecordEncoder::Unit::kMicroseconds).EncodeFileHeader(262144, 1)),
              "d4c3b2a1"
              "0200"
              "0400"
              "00000000"
              "00000000"
              "00000400"
              "01000000");
    EXPECT_EQ(HexOf(RecordEncoder(RecordEncoder::Unit::kNanoseconds).EncodeFileHeader(0x12345678, 0xF4030201)),
              "4d3cb2a1"
              "0200"
              "0400"
              "00000000"
              "00000000"
              "78563412"
              "010203f4");
}

TEST(RecordEncoderTest, HoldsTheNearestTime) {
    constexpr std::int64_t kSecond = 1'000'000'000;
    constexpr std::int64_t kEnd = kSecond << 32;
    using enum TimeChange;
    const struct {
        const char* name;
        std::int64_t time;
        const char* micro;
        TimeChange microChange;
        const char* nano;
        TimeChange nanoChange;
    } rows[] = {
        {"the earliest", std::numeric_limits<std::int64_t>::min(), "0000000000000000", kBefore1970, "0000000000000000",
         kBefore1970},
        {"just before 1970", -1, "0000000000000000", kBefore1970, "0000000000000000", kBefore1970},
        {"1970", 0, "0000000000000000", kAsIs, "0000000000000000", kAsIs},
        {"a nanosecond", 1, "0000000000000000", kFinerThanUnit, "0000000001000000", kAsIs},
        {"just below a microsecond", 999, "0000000000000000", kFinerThanUnit, "00000000e7030000", kAsIs},
        {"a microsecond", 1000, "0000000001000000", kAsIs, "00000000e8030000", kAsIs},
        {"just below a second", kSecond - 1, "000000003f420f00", kFinerThanUnit, "00000000ffc99a3b", kAsIs},
        {"a second", kSecond, "0100000000000000", kAsIs, "0100000000000000", kAsIs},
        {"the last microsecond", kEnd - 1000, "ffffffff3f420f00", kAsIs, "ffffffff18c69a3b", kAsIs},
        {"the last nanosecond", kEnd - 1, "ffffffff3f420f00", kFinerThanUnit, "ffffffffffc99a3b", kAsIs},
        {"2106", kEnd, "ffffffff3f420f00", kBeyondLast, "ffffffffffc99a3b", kBeyondLast},
        {"the latest", std::numeric_limits<std::int64_t>::max(), "ffffffff3f420f00", kBeyondLast, "ffffffffffc99a3b",
         kBeyondLast},
    };
    const RecordEncoder micro(RecordEncoder::Unit::kMicroseconds), nano(RecordEncoder::Unit::kNanoseconds);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        std::array<std::uint8_t, RecordEncoder::kHeaderSize> header{};
        EXPECT_EQ(micro.EncodeHeader(header.data(), row.time, 0x01020304, 0xFFFFFFFE), row.microChange);
        EXPECT_EQ(HexOf(header), row.micro + std::string("04030201"
                                                         "feffffff"));
        EXPECT_EQ(nano.EncodeHeader(header.data(), row.time, 0, 5), row.nanoChange);
        EXPECT_EQ(HexOf(header), row.nano + std::string("00000000"
                                                        "05000000"));
    }
}

TEST(PcapNgEncoderTest, DescribesSectionsAndInterfaces) {
    EXPECT_EQ(HexOf(PcapNgEncoder::SectionHeader()),
              "0a0d0d0a"
              "1c000000"
              "4d3c2b1a"
              "0100"
              "0000"
              "ffffffffffffffff"
              "1c000000");
    const struct {
        std::uint32_t linkType;
        const char* name;
        const char* options;
    } rows[] = {
        {1, "",
         "0900"
         "0100"
         "09000000"
         "00000000"},
        {0x0114, "abcd",
         "0200"
         "0400"
         "61626364"
         "0900"
         "0100"
         "09000000"
         "00000000"},
        {0xFFFF, "\u00fc/x",
         "0200"
         "0400"
         "c3bc2f78"
         "0900"
         "0100"
         "09000000"
         "00000000"},
        {1, "abcde",
         "0200"
         "0500"
         "6162636465000000"
         "0900"
         "0100"
         "09000000"
         "00000000"},
    };
    for (const auto& row : rows) {
        const std::string options = row.options;
        const auto size = static_cast<std::uint8_t>(20 + options.size() / 2);
        const std::string length = HexOf(std::array<std::uint8_t, 4>{size, 0, 0, 0});
        const std::array<std::uint8_t, 2> type{static_cast<std::uint8_t>(row.linkType),
                                               static_cast<std::uint8_t>(row.linkType >> 8)};
        EXPECT_EQ(HexOf(*PcapNgEncoder::InterfaceDescription(row.linkType, 0x40000, row.name)), "01000000" + length +
                                                                                                    HexOf(type) +
                                                                                                    "0000"
                                                                                                    "00000400" +
                                                                                                    options + length);
    }
    EXPECT_FALSE(PcapNgEncoder::InterfaceDescription(0x10000, 0, "").has_value());
}

TEST(PcapNgEncoderTest, PadsPacketsAndHoldsTimesFrom1970On) {
    const struct {
        std::int64_t time;
        const char* hex;
        TimeChange change;
    } times[] = {{std::numeric_limits<std::int64_t>::min(), "0000000000000000", TimeChange::kBefore1970},
                 {-1, "0000000000000000", TimeChange::kBefore1970},
                 {0, "0000000000000000", TimeChange::kAsIs},
                 {0x0102030405060708, "0403020108070605", TimeChange::kAsIs},
                 {std::numeric_limits<std::int64_t>::max(), "ffffff7fffffffff", TimeChange::kAsIs}};
    const struct {
        std::uint32_t captured;
        const char* length;
        const char* tail;
    } lengths[] = {{0, "20000000", "20000000"},         {1, "24000000", "00000024000000"},
                   {2, "24000000", "000024000000"},     {3, "24000000", "0024000000"},
                   {4, "24000000", "24000000"},         {5, "28000000", "00000028000000"},
                   {0x08000000, "20000008", "20000008"}};
    for (const auto& time : times) {
        for (const auto& length : lengths) {
            std::array<std::uint8_t, PcapNgEncoder::kHeadSize> head{};
            std::array<std::uint8_t, PcapNgEncoder::kMostTail> tail;
            tail.fill(0xEE);
            EXPECT_EQ(PcapNgEncoder::EncodeHead(head.data(), time.time, 0x0A0B, length.captured, 0xFFFFFFFE),
                      time.change);
            const std::array<std::uint8_t, 4> captured{static_cast<std::uint8_t>(length.captured), 0, 0,
                                                       static_cast<std::uint8_t>(length.captured >> 24)};
            EXPECT_EQ(HexOf(head),
                      "06000000" + std::string(length.length) + "0b0a0000" + time.hex + HexOf(captured) + "feffffff");
            const std::size_t size = PcapNgEncoder::EncodeTail(tail.data(), length.captured);
            EXPECT_EQ(HexOf(std::span(tail).first(size)), length.tail);
        }
    }
}

}  // namespace
}  // namespace velora::capture
