// What is written is what the reader gives back, and what cannot be written is told.

#include "velora/output/capture_writer.h"

#include <limits>
#include <optional>

#include <gtest/gtest.h>

#include "tests/capture/read_whole.h"
#include "tests/codec/string_sink.h"
#include "tests/support/capture_builder.h"
#include "tests/support/temp_dir.h"
#include "velora/capture/capture_reader.h"

namespace velora::output {
namespace {

using capture::Format, capture::Interface, capture::ReadWhole, capture::Record;
using codec::Compression;

constexpr Compression kCompressions[] = {Compression::kNone, Compression::kGzip, Compression::kZstd};
const std::string kNoise = codec::Noise(1 << 20);

Record MakeRecord(const Interface* interface, std::int64_t time, std::size_t length) {
    const auto size = static_cast<std::uint32_t>(length);
    return Record{.time = time, .originalLength = size + 7, .interface = interface}.WithBytes(
        codec::BytesOf(kNoise).first(length));
}

TEST(CaptureWriterTest, WritesWhatIsReadBack) {
    const Interface interface { .linkType = 113, .snapLen = 300000, .fcsLength = 32 };
    for (const Format format : {Format::kPcapNg, Format::kClassicMicroseconds, Format::kClassicNanoseconds}) {
        for (const Compression compression : kCompressions) {
            for (const unsigned threads : {0U, 1U, 3U}) {
                SCOPED_TRACE(std::string(NameOf(format)) + NameOf(compression) + std::to_string(threads));
                codec::StringSink sink;
                CaptureWriter first(sink, {.format = format, .compression = compression, .threads = threads});
                CaptureWriter writer(std::move(first));
                std::vector<capture::OwnedRecord> records;
                for (std::uint32_t count = 0; count < 31; ++count) {
                    EXPECT_TRUE(writer.Write(MakeRecord(&interface, 1000 * count, count * 10'000)));
                    records.push_back({1000 * count, count * 10'000 + 7, 0, kNoise.substr(0, count * 10'000)});
                }
                EXPECT_TRUE(writer.Finish().IsGood() && writer.Outcome().IsGood() && sink.isFinished);
                const capture::ReadCapture read = ReadWhole(sink.content);
                const capture::CaptureTraits& traits = read.traits;
                EXPECT_TRUE(read.Records() == records && !read.problem);
                EXPECT_TRUE(traits.format == format && traits.compression == compression);
                EXPECT_TRUE(traits.linkType == 113 && traits.fcsBits == 0x24000000 && traits.snapLen == 300000);
                EXPECT_EQ(writer.Counts().records, 31U);
                EXPECT_FALSE(writer.Write(MakeRecord(&interface, 0, 0)));
                EXPECT_EQ(writer.Outcome().text, "more came when the capture was finished");
            }
        }
    }
}

TEST(CaptureWriterTest, HandsOnWhatWasWrittenSoFar) {
    for (const Compression compression : kCompressions) {
        codec::StringSink sink;
        CaptureWriter writer(sink, {.compression = compression});
        EXPECT_TRUE(writer.Flush()) << "there is nothing yet";
        for (std::size_t count = 1; count < 4; ++count) {
            EXPECT_TRUE(writer.Write(MakeRecord(nullptr, 0, 100'000)) && writer.Flush());
            EXPECT_EQ(ReadWhole(sink.content).Records().size(), count) << NameOf(compression);
        }
    }
}

TEST(CaptureWriterTest, DescribesAnInterfaceOnceForAllThatSayTheSame) {
    constexpr Interface first{.linkType = 1, .name = "a"};
    const struct {
        const char* about;
        Interface interface;
        std::size_t length = 1;
        std::uint32_t source = 0;
        std::uint32_t number = 0;  // as it is to be written
        std::uint32_t snapLen = 0;
    } rows[] = {
        {.about = "the first", .interface = first},
        {.about = "an equal one, elsewhere in memory", .interface = first},
        {.about = "another name", .interface = {.linkType = 1, .name = "b"}, .number = 1},
        {.about = "another link type", .interface = {.linkType = 113, .name = "a"}, .number = 2},
        {.about = "another FCS", .interface = {.linkType = 1, .fcsLength = 0, .name = "a"}, .number = 3},
        {.about = "read as another", .interface = {.linkType = 1, .ordinal = 1, .name = "a"}, .number = 4},
        {.about = "described otherwise", .interface = {.linkType = 1, .descriptionHash = 9, .name = "a"}, .number = 5},
        {.about = "another source", .interface = first, .source = 70000, .number = 6},
        {.about = "another snaplen", .interface = {.snapLen = 96}, .length = 96, .number = 7, .snapLen = 96},
        {.about = "that, but longer", .interface = {.snapLen = 96}, .length = 97, .number = 8, .snapLen = 262144},
        {.about = "no snaplen, longer", .interface = first, .length = 262145, .number = 9, .snapLen = 524288},
        {.about = "the first again, of usual length", .interface = first, .length = 262144},
    };
    codec::StringSink sink;
    CaptureWriter writer(sink);
    for (const auto& row : rows) {
        const std::string name(row.interface.name);  // gone behind the call, as the interface is
        Interface interface = row.interface;
        interface.name = name;
        EXPECT_TRUE(writer.Write(MakeRecord(&interface, 0, row.length), row.source));
    }
    EXPECT_TRUE(writer.Finish().IsGood());
    capture::CaptureReader reader;
    EXPECT_FALSE(reader.Open(capture::ByteSource::Memory(sink.content)));
    for (const auto& row : rows) {
        SCOPED_TRACE(row.about);
        const Record* const record = reader.Next();
        ASSERT_NE(record, nullptr);
        EXPECT_EQ(record->interface->number, row.number);
        EXPECT_EQ(record->interface->snapLen, row.snapLen);
        EXPECT_EQ(record->interface->name, row.interface.name);
    }
}

TEST(CaptureWriterTest, DescribesInterfacesWithoutRecordsToo) {
    const Interface used{.linkType = 1, .name = "used"}, silent{.linkType = 101, .fcsLength = 32, .name = "silent"};
    codec::StringSink sink;
    CaptureWriter writer(sink);
    EXPECT_TRUE(writer.Write(MakeRecord(&used, 0, 1)));
    EXPECT_TRUE(writer.Describe({used}) && writer.Describe({silent, 2}) && writer.Finish().IsGood());
    capture::CaptureReader reader;
    EXPECT_FALSE(reader.Open(capture::ByteSource::Memory(sink.content)));
    EXPECT_NE(reader.Next(), nullptr);
    std::string seen;
    for (const capture::DescribedInterfaces& one : reader.Interfaces()) {
        seen += std::string(one.first.name) + " x " + std::to_string(one.count) + ", ";
    }
    EXPECT_EQ(seen, "used x 1, silent x 2, ");
}

// More than a section holds, so that there is a second one, which describes the first ones anew.
TEST(CaptureWriterTest, TakesAnyNumberOfInterfaces) {
    codec::StringSink sink;
    CaptureWriter writer(sink);
    for (std::uint32_t source = 0; source < 70'000; ++source) {
        EXPECT_TRUE(writer.Write(MakeRecord(nullptr, source, 1), source));
    }
    EXPECT_TRUE(writer.Write(MakeRecord(nullptr, 70'000, 1), 0) && writer.Finish().IsGood());
    EXPECT_EQ(ReadWhole(sink.content).Records().size(), 70'001U);
}

TEST(CaptureWriterTest, WritesPcapWithTheNearestTimeThatItHolds) {
    constexpr Format kMicro = Format::kClassicMicroseconds, kNano = Format::kClassicNanoseconds;
    constexpr std::int64_t kSecond = 1'000'000'000, kEnd = kSecond << 32;
    const struct {
        Format format;
        std::int64_t in;
        std::int32_t seconds = 0;  // -1: the last that there is
        std::int32_t fraction = 0;
        std::uint64_t WriterCounts::*counted = nullptr;
    } rows[] = {
        {.format = kMicro, .in = -1, .counted = &WriterCounts::beforeEpoch},
        {.format = kMicro, .in = 999, .counted = &WriterCounts::roundedDown},
        {.format = kMicro, .in = 1000, .fraction = 1},
        {.format = kMicro, .in = kEnd - 1000, .seconds = -1, .fraction = 999'999},
        {.format = kMicro, .in = kEnd, .seconds = -1, .fraction = 999'999, .counted = &WriterCounts::beyondEnd},
        {.format = kNano, .in = kSecond + 1, .seconds = 1, .fraction = 1},
        {.format = kNano, .in = kEnd - 1, .seconds = -1, .fraction = 999'999'999},
        {.format = kNano, .in = kEnd, .seconds = -1, .fraction = 999'999'999, .counted = &WriterCounts::beyondEnd},
    };
    for (const auto& row : rows) {
        codec::StringSink sink;
        CaptureWriter writer(sink, {.format = row.format, .linkType = 0x3020100});
        EXPECT_TRUE(writer.Write(MakeRecord(nullptr, row.in, 5)) && writer.Finish().IsGood());
        CaptureBuilder expected = CaptureBuilder().SnapLen(262144).LinkType(0x3020100);
        expected = row.format == kNano ? expected.Nanoseconds() : expected;
        EXPECT_TRUE(sink.content == expected.Record(row.seconds, row.fraction, 5, 12, kNoise.substr(0, 5)).Bytes());
        for (const auto count : {&WriterCounts::beforeEpoch, &WriterCounts::roundedDown, &WriterCounts::beyondEnd}) {
            EXPECT_EQ(writer.Counts().*count, row.counted == count ? 1U : 0U) << row.in;
        }
    }
}

TEST(CaptureWriterTest, WritesPcapNgPaddedToFourBytes) {
    const std::pair<std::string, std::int64_t> rows[] = {{"", -1},
                                                         {"a", 0},
                                                         {"\u00fc", 1},
                                                         {"abc", 0x0102030405060708},
                                                         {"abc\n", std::numeric_limits<std::int64_t>::max()}};
    for (const auto& [text, time] : rows) {
        const Interface interface { .linkType = 0xFF14, .snapLen = 0x40000, .fcsLength = 32, .name = text };
        codec::StringSink sink;
        CaptureWriter writer(sink, {.threads = 0});  // one block, which what was flushed is left in
        EXPECT_TRUE(writer.Describe({interface}) && writer.Flush());
        EXPECT_TRUE(writer.Write(MakeRecord(&interface, 0, 999)) && writer.Flush());
        const Record record = Record{.time = time, .originalLength = 0xFFFFFFFE, .interface = &interface};
        EXPECT_TRUE(writer.Write(record.WithBytes(codec::BytesOf(text))) && writer.Finish().IsGood());
        EXPECT_EQ(writer.Counts().beforeEpoch, time < 0 ? 1U : 0U);
        PcapNgBuilder expected = PcapNgBuilder::Empty().Section();
        const std::string name = text.empty() ? "" : expected.Option(2, text);
        const std::string options = expected.Option(9, "\x09") + expected.Option(13, "\x20") + expected.Option(0, "");
        expected.Interface(0xFF14, 0x40000, name + options);
        expected.PacketOf(0, 0, kNoise.substr(0, 999), "", 1006);
        expected.PacketOf(0, static_cast<std::uint64_t>(std::max<std::int64_t>(time, 0)), text, "", 0xFFFFFFFE);
        EXPECT_TRUE(sink.content == expected.Bytes()) << time;
    }
}

TEST(CaptureWriterTest, CountsWhatItCutsAndOtherLengthsOfFrameCheckSequences) {
    const Interface ofFirst{.linkType = 1, .fcsLength = 32}, ofSecond{.linkType = 1};
    for (const Format format : {Format::kPcapNg, Format::kClassicMicroseconds}) {
        codec::StringSink sink;
        CaptureWriter writer(sink, {.format = format, .snapLen = 64});
        EXPECT_TRUE(writer.Write(MakeRecord(&ofFirst, 0, 65)) && writer.Write(MakeRecord(&ofSecond, 0, 64)));
        EXPECT_TRUE(writer.Write(MakeRecord(&ofFirst, 0, 63)) && writer.Finish().IsGood());
        const capture::ReadCapture read = ReadWhole(sink.content);
        const capture::OwnedRecord first = read.Records().at(0);
        EXPECT_TRUE(first.data == kNoise.substr(0, 64) && first.originalLength == 72 && read.traits.snapLen == 64);
        const WriterCounts counts = writer.Counts();
        EXPECT_TRUE(counts.cut == 1 && counts.otherFcsLength == (format == Format::kPcapNg ? 0U : 1U));
    }
}

TEST(CaptureWriterTest, RefusesWhatTheFormatDoesNotHold) {
    const Interface cooked{.linkType = 113}, tooLarge{.linkType = 0x10000}, farTooLarge{.linkType = 0x4000000};
    const std::string huge((128 << 20) + 1, 'x');
    const Record any = MakeRecord(nullptr, 0, 1), tooLong = Record{}.WithBytes(codec::BytesOf(huge));
    constexpr Format kPcap = Format::kClassicNanoseconds;
    const struct {
        WriterOptions options;
        Record record;  // behind one of Ethernet
        const char* text;
    } rows[] = {
        {.options = {.format = kPcap},
         .record = MakeRecord(&cooked, 0, 1),
         .text = "record 2 is of link type 113 (Linux cooked), and a pcap file holds one, 1 (Ethernet): pcap-ng holds "
                 "both"},
        {.options = {.format = kPcap},
         .record = MakeRecord(nullptr, 0, 262145),
         .text = "record 2 has 262145 bytes, and the file declares at most 262144"},
        {.options = {},
         .record = MakeRecord(&tooLarge, 0, 1),
         .text = "record 2 is of link type 65536, and the format has room for those up to 65535"},
        {.options = {.format = kPcap, .linkType = farTooLarge.linkType},
         .record = MakeRecord(&farTooLarge, 0, 1),
         .text = "record 1 is of link type 67108864, and the format has room for those up to 67108863"},
        {.options = {.format = kPcap, .snapLen = 0xFFFFFFFF},
         .record = tooLong,
         .text = "record 2 has 134217729 bytes, and readers take at most 134217728"},
        {.options = {.format = Format::kClassicModified},
         .record = any,
         .text = "modified pcap is not written: pcap and pcap-ng are"},
        {.options = {.compression = Compression::kXz}, .record = any, .text = "xz is not written: gzip and zstd are"},
    };
    for (const auto& row : rows) {
        const TempDir directory;
        CaptureWriter writer(directory / "out", row.options);
        EXPECT_EQ(writer.Outcome().IsGood(), std::string_view(row.text).starts_with("record")) << row.text;
        static_cast<void>(writer.Write(any));
        EXPECT_FALSE(writer.Write(row.record) || writer.Write(any) || writer.Flush());
        EXPECT_EQ(writer.Finish().text, row.text);
        EXPECT_TRUE(directory.Names().empty()) << row.text;
    }
}

TEST(CaptureWriterTest, TellsTheFirstFailureOfASink) {
    for (const Compression compression : kCompressions) {
        for (const unsigned threads : {0U, 2U}) {
            bool hasFailed = true;
            for (int failing = 1; hasFailed; ++failing) {  // until no call is left that could
                SCOPED_TRACE(NameOf(compression) + std::to_string(failing));
                codec::StringSink sink;
                sink.failingCall = failing;
                sink.throwingCall = failing % 2 * failing;
                sink.finish = {.kind = codec::OutputOutcome::Kind::kCannot, .text = "finish"};
                CaptureWriter writer(sink, {.compression = compression, .threads = threads});
                for (int count = 0; count < 20 && writer.Write(MakeRecord(nullptr, count, 65536)); ++count) {
                }
                hasFailed = writer.Finish().text != "finish";
                EXPECT_EQ(writer.Outcome().text, hasFailed ? "write " + std::to_string(failing) : "finish");
                EXPECT_TRUE(sink.calls == (hasFailed ? failing : failing - 1) && sink.isFinished != hasFailed);
                EXPECT_TRUE(hasFailed || failing == 7 || compression != Compression::kNone) << "blocks of 256 KiB";
            }
        }
    }
}

TEST(CaptureWriterTest, LetsAFileAppearWholeOrNotAtAll) {
    const TempDir directory;
    const std::string path = directory / "out";
    for (const Format format : {Format::kPcapNg, Format::kClassicMicroseconds}) {
        EXPECT_TRUE(CaptureWriter(path).Write(MakeRecord(nullptr, 0, 1)));
        EXPECT_TRUE(directory.Names().empty()) << "it was not finished";
        EXPECT_TRUE(CaptureWriter(path, {.format = format, .linkType = 113}).Finish().IsGood());
        const std::optional<std::uint32_t> linkType = ReadWhole(directory.Read("out")).traits.linkType;
        EXPECT_EQ(linkType, format == Format::kPcapNg ? std::nullopt : std::optional(113U));
        EXPECT_EQ(CaptureWriter(path).Outcome().kind, codec::OutputOutcome::Kind::kExists);
        CaptureWriter replacing(path, {.format = format, .replacesExisting = true});
        EXPECT_TRUE(replacing.Write(MakeRecord(nullptr, 5, 1)) && replacing.Finish().IsGood());
        EXPECT_EQ(ReadWhole(directory.Read("out")).Records().size(), 1U);
        std::filesystem::remove(path);
    }
    EXPECT_EQ(CaptureWriter(directory / "none/out").Finish().error, ENOENT);
}

}  // namespace
}  // namespace velora::output
