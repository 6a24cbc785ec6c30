// The headers that encoders build, byte for byte, and what becomes of times that a format cannot hold.

#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace velora::capture
