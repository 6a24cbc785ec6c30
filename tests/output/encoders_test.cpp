// What encoders build is what a builder of captures makes byte by byte, with the nearest time that the format can hold.

#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/capture_builder.h"
#include "velora/output/pcapng_encoder.h"
#include "velora/output/record_encoder.h"
#include "velora/utils/hex_text.h"

namespace velora::output {
namespace {

using enum RecordEncoder::Unit;
using enum TimeChange;
using MiscUtils::BytesToHex;

constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kEnd = kSecond << 32;
constexpr std::int64_t kEarliest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kLatest = std::numeric_limits<std::int64_t>::max();

TEST(RecordEncoderTest, BuildsHeadersWithTheNearestTime) {
    const struct {
        RecordEncoder::Unit unit;
        std::int64_t in;
        std::int32_t seconds = 0;  // -1: the last that there is
        std::int32_t fraction = 0;
        TimeChange change = kAsIs;
    } rows[] = {
        {.unit = kMicroseconds, .in = kEarliest, .change = kBefore1970},
        {.unit = kMicroseconds, .in = -1, .change = kBefore1970},
        {.unit = kMicroseconds, .in = 999, .change = kFinerThanUnit},
        {.unit = kMicroseconds, .in = 1000, .fraction = 1},
        {.unit = kMicroseconds, .in = kEnd - 1000, .seconds = -1, .fraction = 999'999},
        {.unit = kMicroseconds, .in = kEnd - 1, .seconds = -1, .fraction = 999'999, .change = kFinerThanUnit},
        {.unit = kMicroseconds, .in = kEnd, .seconds = -1, .fraction = 999'999, .change = kBeyondLast},
        {.unit = kNanoseconds, .in = kSecond + 1, .seconds = 1, .fraction = 1},
        {.unit = kNanoseconds, .in = kEnd - 1, .seconds = -1, .fraction = 999'999'999},
        {.unit = kNanoseconds, .in = kEnd, .seconds = -1, .fraction = 999'999'999, .change = kBeyondLast},
    };
    for (const auto& row : rows) {
        const RecordEncoder encoder(row.unit);
        const auto file = encoder.EncodeFileHeader(0x12345678, 0xF4030201);
        std::string bytes(file.begin(), file.end());
        bytes.resize(bytes.size() + RecordEncoder::kHeaderSize);
        auto* const room = reinterpret_cast<std::uint8_t*>(&bytes[file.size()]);
        EXPECT_EQ(encoder.EncodeHeader(room, row.in, 0x01020304, 0xFFFFFFFE), row.change) << row.in;
        CaptureBuilder expected = CaptureBuilder().SnapLen(0x12345678).LinkType(0xF4030201);
        expected = row.unit == kNanoseconds ? expected.Nanoseconds() : expected;
        expected.Record(row.seconds, row.fraction, 0x01020304, 0xFFFFFFFE, "");
        EXPECT_EQ(BytesToHex(bytes), BytesToHex(expected.Bytes())) << row.in;
    }
}

TEST(PcapNgEncoderTest, BuildsBlocksPaddedToFourBytes) {
    const struct {
        std::string text;  // the name, and the bytes of a packet
        std::int64_t in;
        std::uint64_t out;
        TimeChange change = kAsIs;
    } rows[] = {
        {.text = "", .in = kEarliest, .out = 0, .change = kBefore1970},
        {.text = "a", .in = -1, .out = 0, .change = kBefore1970},
        {.text = "\u00fc", .in = 0, .out = 0},
        {.text = "abc", .in = 0x0102030405060708, .out = 0x0102030405060708},
        {.text = "abc\n", .in = kLatest, .out = kLatest},
    };
    for (const auto& [text, in, out, change] : rows) {
        const auto size = static_cast<std::uint32_t>(text.size());
        std::string bytes(PcapNgEncoder::kHeadSize, '\0');
        auto* const head = reinterpret_cast<std::uint8_t*>(bytes.data());
        EXPECT_EQ(PcapNgEncoder::EncodeHead(head, in, 0x0A0B, size, 0xFFFFFFFE), change) << in;
        std::string tail(PcapNgEncoder::kMostTail, '\xEE');
        tail.resize(PcapNgEncoder::EncodeTail(reinterpret_cast<std::uint8_t*>(tail.data()), size));
        auto blocks = PcapNgEncoder::SectionHeader();
        for (const auto fcsLength : {std::optional<std::uint8_t>(), std::optional<std::uint8_t>(32)}) {
            const auto interface = PcapNgEncoder::InterfaceDescription(0xFF14, 0x40000, text, fcsLength).value();
            blocks.insert(blocks.end(), interface.begin(), interface.end());
        }
        PcapNgBuilder expected = PcapNgBuilder::Empty().Section();
        const std::string options = (size > 0 ? expected.Option(2, text) : "") + expected.Option(9, "\x09");
        const std::string end = expected.Option(0, "");
        expected.Interface(0xFF14, 0x40000, options + end);
        expected.Interface(0xFF14, 0x40000, options + expected.Option(13, "\x20") + end);
        expected.PacketOf(0x0A0B, out, text, "", 0xFFFFFFFE);
        EXPECT_EQ(BytesToHex(std::string(blocks.begin(), blocks.end()) + bytes + text + tail),
                  BytesToHex(expected.Bytes()));
    }
    EXPECT_FALSE(PcapNgEncoder::InterfaceDescription(0x10000, 0x40000, "")) << "the format has 16 bits for it";
}

}  // namespace
}  // namespace velora::output
