// What is written is what the reader gives back, and what cannot be written is told.

#include "velora/output/capture_writer.h"

#include <optional>
#include <stdexcept>

#include <gtest/gtest.h>

#include "tests/codec/string_sink.h"
#include "tests/support/temp_dir.h"
#include "velora/capture/capture_reader.h"

namespace velora::output {
namespace {

using capture::Format, capture::Interface, capture::Record;
using codec::Compression;

const std::string kNoise = codec::Noise(1 << 20);

Record MakeRecord(const Interface* interface, std::int64_t time, std::size_t length) {
    const auto size = static_cast<std::uint32_t>(length);
    return Record{.time = time, .originalLength = size + 7, .interface = interface}.WithBytes(
        codec::BytesOf(kNoise).first(length));
}

struct ReadRecord {
    Record record;
    Interface interface;
    std::string bytes, name;
};

// All records, and what the whole is like; it has to be undamaged.
std::vector<ReadRecord> Read(const capture::ByteSource& source, capture::CaptureTraits* traits = nullptr) {
    std::vector<ReadRecord> records;
    capture::CaptureReader reader;
    EXPECT_FALSE(reader.Open(source));
    if (traits != nullptr) {
        *traits = reader.Traits();
    }
    for (const Record& record : reader) {
        records.push_back({record, *record.interface, {}, std::string(record.interface->name)});
        records.back().bytes.assign(record.Bytes().begin(), record.Bytes().end());
    }
    EXPECT_FALSE(reader.GetProblem());
    return records;
}

std::vector<ReadRecord> Read(const codec::StringSink& sink, capture::CaptureTraits* traits = nullptr) {
    return Read(capture::ByteSource::Memory(sink.content), traits);
}

TEST(CaptureWriterTest, WritesWhatIsReadBack) {
    const Interface interface { .linkType = 113, .snapLen = 300000, .fcsLength = 32 };
    for (const Format format : {Format::kPcapNg, Format::kClassicMicroseconds, Format::kClassicNanoseconds}) {
        for (const Compression compression : {Compression::kNone, Compression::kGzip, Compression::kZstd}) {
            for (const unsigned threads : {0U, 1U, 3U}) {
                SCOPED_TRACE(std::string(NameOf(format)) + NameOf(compression) + std::to_string(threads));
                codec::StringSink sink;
                CaptureWriter first(sink, {.format = format, .compression = compression, .threads = threads});
                CaptureWriter writer(std::move(first));
                for (int count = 0; count < 31; ++count) {
                    EXPECT_TRUE(writer.Write(MakeRecord(&interface, 1000 * count, std::size_t(count) * 10'000)));
                }
                EXPECT_TRUE(writer.Finish().IsGood() && writer.Outcome().IsGood() && sink.isFinished);
                EXPECT_FALSE(writer.Write(MakeRecord(&interface, 0, 0))) << "it is finished";
                capture::CaptureTraits traits;
                const std::vector<ReadRecord> records = Read(sink, &traits);
                EXPECT_TRUE(traits.format == format && traits.compression == compression);
                EXPECT_TRUE(traits.linkType == 113 && traits.fcsBits == 0x24000000 && traits.snapLen == 300000);
                EXPECT_EQ(writer.Counts().records, 31U);
                ASSERT_EQ(records.size(), 31U);
                for (std::size_t count = 0; count < 31; ++count) {
                    const std::size_t length = count * 10'000;
                    EXPECT_EQ(records[count].record.time, 1000 * std::int64_t(count));
                    EXPECT_EQ(records[count].record.originalLength, length + 7);
                    EXPECT_TRUE(records[count].bytes == kNoise.substr(0, length));
                }
            }
        }
    }
}

TEST(CaptureWriterTest, HandsOnWhatWasWrittenSoFar) {
    for (const Compression compression : {Compression::kNone, Compression::kGzip, Compression::kZstd}) {
        SCOPED_TRACE(NameOf(compression));
        codec::StringSink sink;
        CaptureWriter writer(sink, {.compression = compression});
        EXPECT_TRUE(writer.Flush()) << "there is nothing yet";
        for (std::size_t count = 1; count < 4; ++count) {
            EXPECT_TRUE(writer.Write(MakeRecord(nullptr, 0, 100'000)) && writer.Flush());
            capture::CaptureReader reader;  // of what has no end yet
            EXPECT_FALSE(reader.Open(capture::ByteSource::Memory(sink.content)));
            std::size_t records = 0;
            for (; reader.Next() != nullptr; ++records) {
            }
            EXPECT_EQ(records, count);
        }
        EXPECT_FALSE(sink.isFinished);
    }
}

TEST(CaptureWriterTest, DescribesAnInterfaceOnceForAllThatSayTheSame) {
    const struct {
        const char* about;
        Interface interface;
        std::size_t length = 1;
        std::uint32_t source = 0;
        std::uint32_t number = 0;  // as it is to be written
        std::uint32_t snapLen = 0;
    } rows[] = {
        {.about = "the first", .interface = {.linkType = 1, .name = "a"}},
        {.about = "an equal one, elsewhere in memory", .interface = {.linkType = 1, .name = "a"}},
        {.about = "another name", .interface = {.linkType = 1, .name = "b"}, .number = 1},
        {.about = "another link type", .interface = {.linkType = 113, .name = "a"}, .number = 2},
        {.about = "another FCS", .interface = {.linkType = 1, .fcsLength = 0, .name = "a"}, .number = 3},
        {.about = "read as another", .interface = {.linkType = 1, .ordinal = 1, .name = "a"}, .number = 4},
        {.about = "described otherwise", .interface = {.linkType = 1, .descriptionHash = 9, .name = "a"}, .number = 5},
        {.about = "another source", .interface = {.linkType = 1, .name = "a"}, .source = 70000, .number = 6},
        {.about = "another snaplen", .interface = {.snapLen = 96}, .length = 96, .number = 7, .snapLen = 96},
        {.about = "that, but longer", .interface = {.snapLen = 96}, .length = 97, .number = 8, .snapLen = 262144},
        {.about = "no snaplen, as usual", .interface = {.linkType = 1, .name = "a"}, .length = 262144},
        {.about = "no snaplen, longer",
         .interface = {.linkType = 1, .name = "a"},
         .length = 262145,
         .number = 9,
         .snapLen = 524288},
        {.about = "the first again", .interface = {.linkType = 1, .name = "a"}},
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
    const std::vector<ReadRecord> records = Read(sink);
    ASSERT_EQ(records.size(), std::size(rows));
    for (std::size_t at = 0; at < std::size(rows); ++at) {
        SCOPED_TRACE(rows[at].about);
        EXPECT_EQ(records[at].interface.number, rows[at].number);
        EXPECT_EQ(records[at].interface.snapLen, rows[at].snapLen);
        EXPECT_EQ(records[at].name, rows[at].interface.name);
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
    EXPECT_FALSE(writer.Write(MakeRecord(&used, 0, 1)));
    EXPECT_EQ(writer.Outcome().text, "more came when the capture was finished");
}

// More than a section holds, so that there is a second one, which describes the first ones anew.
TEST(CaptureWriterTest, TakesAnyNumberOfInterfaces) {
    codec::StringSink sink;
    CaptureWriter writer(sink);
    for (std::uint32_t source = 0; source < 70'000; ++source) {
        EXPECT_TRUE(writer.Write(MakeRecord(nullptr, source, 1), source));
    }
    EXPECT_TRUE(writer.Write(MakeRecord(nullptr, 70'000, 1), 0) && writer.Finish().IsGood());
    EXPECT_EQ(Read(sink).size(), 70'001U);
}

TEST(CaptureWriterTest, CountsWhatItCutsAndWhatAPcapFileDoesNotHold) {
    const Interface ofFirst{.linkType = 1, .fcsLength = 32}, ofSecond{.linkType = 1};
    for (const Format format : {Format::kPcapNg, Format::kClassicMicroseconds}) {
        codec::StringSink sink;
        CaptureWriter writer(sink, {.format = format, .snapLen = 64});
        EXPECT_TRUE(writer.Write(MakeRecord(&ofFirst, 1001, 65)));
        EXPECT_TRUE(writer.Write(MakeRecord(&ofSecond, -1, 64)));
        EXPECT_TRUE(writer.Write(MakeRecord(&ofFirst, std::int64_t{1'000'000'000} << 32, 63)));
        EXPECT_TRUE(writer.Finish().IsGood());
        capture::CaptureTraits traits;
        const std::vector<ReadRecord> records = Read(sink, &traits);
        EXPECT_EQ(traits.snapLen, 64U);
        EXPECT_TRUE(records.at(0).bytes == kNoise.substr(0, 64) && records[0].record.originalLength == 72);
        const WriterCounts counts = writer.Counts();
        EXPECT_TRUE(counts.records == 3 && counts.cut == 1 && counts.beforeEpoch == 1);
        const std::uint64_t ofPcap = format == Format::kPcapNg ? 0 : 1;
        EXPECT_TRUE(counts.roundedDown == ofPcap && counts.beyondEnd == ofPcap && counts.otherFcsLength == ofPcap);
    }
}

TEST(CaptureWriterTest, RefusesWhatTheFormatDoesNotHold) {
    const Interface ethernet{.linkType = 1}, cooked{.linkType = 113}, tooLarge{.linkType = 0x10000},
        farTooLarge{.linkType = 0x4000000};
    const std::string huge((128 << 20) + 1, 'x');
    const Record tooLong = Record{}.WithBytes(codec::BytesOf(huge));
    const struct {
        WriterOptions options;
        Record record;  // behind one of Ethernet
        const char* text;
    } rows[] = {
        {.options = {.format = Format::kClassicNanoseconds},
         .record = MakeRecord(&cooked, 0, 1),
         .text = "record 2 is of link type 113 (Linux cooked), and a pcap file holds one, 1 (Ethernet): pcap-ng holds "
                 "both"},
        {.options = {.format = Format::kClassicNanoseconds},
         .record = MakeRecord(&ethernet, 0, 262145),
         .text = "record 2 has 262145 bytes, and the file declares at most 262144"},
        {.options = {},
         .record = MakeRecord(&tooLarge, 0, 1),
         .text = "record 2 is of link type 65536, and the format has room for those up to 65535"},
        {.options = {.format = Format::kClassicNanoseconds, .snapLen = 0xFFFFFFFF},
         .record = tooLong,
         .text = "record 2 has 134217729 bytes, and readers take at most 134217728"},
        {.options = {}, .record = tooLong, .text = "record 2 has 134217729 bytes, and readers take at most 134217728"},
        {.options = {.format = Format::kClassicModified},
         .record = MakeRecord(nullptr, 0, 1),
         .text = "modified pcap is not written: pcap and pcap-ng are"},
        {.options = {.compression = Compression::kXz},
         .record = MakeRecord(nullptr, 0, 1),
         .text = "xz is not written: gzip and zstd are"},
        {.options = {.format = Format::kClassicNanoseconds, .linkType = farTooLarge.linkType},
         .record = MakeRecord(&farTooLarge, 0, 1),
         .text = "record 1 is of link type 67108864, and the format has room for those up to 67108863"},
    };
    for (const auto& row : rows) {
        const TempDir directory;
        CaptureWriter writer(directory / "out", row.options);
        EXPECT_EQ(writer.Outcome().IsGood(), std::string_view(row.text).starts_with("record")) << row.text;
        static_cast<void>(writer.Write(MakeRecord(nullptr, 0, 1)));
        EXPECT_FALSE(writer.Write(row.record) || writer.Write(MakeRecord(nullptr, 0, 1)) || writer.Flush());
        EXPECT_EQ(writer.Outcome().text, row.text);
        EXPECT_EQ(writer.Finish().text, row.text);
        EXPECT_TRUE(directory.Names().empty()) << row.text;
    }
}

TEST(CaptureWriterTest, TellsTheFirstFailureOfASink) {
    for (const unsigned threads : {0U, 1U}) {
        for (int failing = 1; failing <= 7; ++failing) {
            SCOPED_TRACE(failing);
            codec::StringSink sink;
            sink.failingCall = failing;
            sink.finish = {.kind = codec::OutputOutcome::Kind::kCannot, .text = "finish"};
            CaptureWriter writer(sink, {.threads = threads});
            int written = 0;
            while (written < 20 && writer.Write(MakeRecord(nullptr, 0, 65536))) {
                written += 1;
            }
            EXPECT_TRUE(failing < 6 || written == 20) << "the sixth and last call is made at the end";
            EXPECT_EQ(writer.Finish().text, failing <= 6 ? "write " + std::to_string(failing) : "finish");
            EXPECT_TRUE(sink.calls == std::min(failing, 6) && sink.isFinished == (failing > 6));
        }
        struct ThrowingSink final : codec::ByteSink {
            codec::OutputOutcome Write(std::span<const std::uint8_t> /*bytes*/) override {
                throw std::runtime_error("no luck");
            }
            codec::OutputOutcome Finish() override { return {}; }
        } sink;
        CaptureWriter writer(sink, {.threads = threads});
        static_cast<void>(writer.Write(MakeRecord(nullptr, 0, 1)));
        EXPECT_EQ(writer.Finish().text, "no luck");
    }
}

TEST(CaptureWriterTest, LetsAFileAppearWholeOrNotAtAll) {
    const TempDir directory;
    for (const Format format : {Format::kPcapNg, Format::kClassicMicroseconds}) {
        const std::string name = NameOf(format);
        static_cast<void>(CaptureWriter(directory / name).Write(MakeRecord(nullptr, 0, 1)));
        EXPECT_FALSE(directory.Names().contains(name)) << "it was not finished";
        EXPECT_TRUE(CaptureWriter(directory / name, {.format = format, .linkType = 113}).Finish().IsGood());
        capture::CaptureTraits traits;
        EXPECT_TRUE(Read(directory / name, &traits).empty());
        EXPECT_EQ(traits.linkType, format == Format::kPcapNg ? std::nullopt : std::optional(113U));
        CaptureWriter second(directory / name, {.format = format});
        EXPECT_EQ(second.Outcome().kind, codec::OutputOutcome::Kind::kExists);
        CaptureWriter replacing(directory / name, {.format = format, .replacesExisting = true});
        EXPECT_TRUE(replacing.Write(MakeRecord(nullptr, 5, 1)));
        EXPECT_TRUE(Read(directory / name).empty());
        EXPECT_TRUE(replacing.Finish().IsGood());
        EXPECT_EQ(Read(directory / name).size(), 1U);
    }
    EXPECT_EQ(CaptureWriter(directory / "none/out").Finish().error, ENOENT);
}

}  // namespace
}  // namespace velora::output
