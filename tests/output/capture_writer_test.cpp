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

// What the reader says of each record, and of the whole.
struct ReadBack {
    std::vector<std::string> bytes, names;
    std::vector<std::int64_t> times;
    std::vector<std::uint32_t> numbers, snapLens, originalLengths;
    capture::CaptureTraits traits;
    std::string problem;
};

ReadBack Read(const capture::ByteSource& source) {
    ReadBack back;
    capture::CaptureReader reader;
    static_cast<void>(reader.Open(source));
    back.traits = reader.Traits();
    for (const Record& record : reader) {
        back.bytes.emplace_back(record.Bytes().begin(), record.Bytes().end());
        back.names.emplace_back(record.interface->name);
        back.times.push_back(record.time);
        back.numbers.push_back(record.interface->number);
        back.snapLens.push_back(record.interface->snapLen);
        back.originalLengths.push_back(record.originalLength);
    }
    back.problem = reader.GetProblem() ? reader.GetProblem()->text : "";
    return back;
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
                const ReadBack back = Read(capture::ByteSource::Memory(sink.content));
                EXPECT_EQ(back.problem, "");
                EXPECT_TRUE(back.traits.format == format && back.traits.compression == compression);
                EXPECT_EQ(back.traits.linkType, 113U);
                EXPECT_EQ(back.traits.fcsBits, 0x24000000U);
                EXPECT_EQ(back.traits.snapLen, 300000U);
                ASSERT_EQ(back.times.size(), 31U);
                EXPECT_EQ(writer.Counts().records, 31U);
                for (std::size_t count = 0; count < 31; ++count) {
                    const std::size_t length = count * 10'000;
                    EXPECT_TRUE(back.times[count] == 1000 * std::int64_t(count) &&
                                back.bytes[count] == kNoise.substr(0, length) &&
                                back.originalLengths[count] == length + 7);
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
            EXPECT_EQ(Read(capture::ByteSource::Memory(sink.content)).bytes.size(), count);
        }
        EXPECT_FALSE(sink.isFinished);
    }
}

TEST(CaptureWriterTest, DescribesAnInterfaceOnceForAllThatSayTheSame) {
    const Interface eth0{.linkType = 1, .name = "eth0"};
    const auto other = [&](auto change) {
        Interface changed = eth0;
        change(changed);
        return changed;
    };
    const struct {
        const char* about;
        Interface interface;
        std::uint32_t source = 0;
        std::uint32_t number = 0;
        std::size_t length = 1;
        std::uint32_t snapLen = 0;
    } rows[] = {
        {.about = "the first", .interface = eth0},
        {.about = "an equal one, elsewhere in memory", .interface = eth0},
        {.about = "another name", .interface = other([](Interface& it) { it.name = "eth1"; }), .number = 1},
        {.about = "another link type", .interface = other([](Interface& it) { it.linkType = 113; }), .number = 2},
        {.about = "another FCS", .interface = other([](Interface& it) { it.fcsLength = 0; }), .number = 3},
        {.about = "read as another", .interface = other([](Interface& it) { it.ordinal = 1; }), .number = 4},
        {.about = "described otherwise",
         .interface = other([](Interface& it) { it.descriptionHash = 9; }),
         .number = 5},
        {.about = "another source", .interface = eth0, .source = 70000, .number = 6},
        {.about = "another snaplen",
         .interface = other([](Interface& it) { it.snapLen = 96; }),
         .number = 7,
         .length = 96,
         .snapLen = 96},
        {.about = "the same, longer",
         .interface = other([](Interface& it) { it.snapLen = 96; }),
         .number = 8,
         .length = 97,
         .snapLen = 262144},
        {.about = "no snaplen, as usual", .interface = eth0, .length = 262144},
        {.about = "no snaplen, longer", .interface = eth0, .number = 9, .length = 262145, .snapLen = 524288},
        {.about = "and again", .interface = eth0, .number = 9, .length = 300000, .snapLen = 524288},
        {.about = "the first again", .interface = eth0},
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
    const ReadBack back = Read(capture::ByteSource::Memory(sink.content));
    EXPECT_EQ(back.problem, "");
    ASSERT_EQ(back.numbers.size(), std::size(rows));
    for (std::size_t at = 0; at < std::size(rows); ++at) {
        EXPECT_EQ(back.numbers[at], rows[at].number) << rows[at].about;
        EXPECT_EQ(back.names[at], rows[at].interface.name) << rows[at].about;
        EXPECT_EQ(back.snapLens[at], rows[at].snapLen) << rows[at].about;
    }
}

// More than a section holds, so that there is a second one, which describes the first ones anew.
TEST(CaptureWriterTest, TakesAnyNumberOfInterfaces) {
    codec::StringSink sink;
    CaptureWriter writer(sink);
    for (std::uint32_t source = 0; source < 70'000; ++source) {
        EXPECT_TRUE(writer.Write(MakeRecord(nullptr, source, 1), source));
    }
    EXPECT_TRUE(writer.Write(MakeRecord(nullptr, 70'000, 1), 0) && writer.Finish().IsGood());
    const ReadBack back = Read(capture::ByteSource::Memory(sink.content));
    EXPECT_EQ(back.problem, "");
    EXPECT_EQ(back.times.size(), 70'001U);
}

TEST(CaptureWriterTest, CutsRecordsAndDeclaresIt) {
    for (const Format format : {Format::kPcapNg, Format::kClassicNanoseconds}) {
        codec::StringSink sink;
        CaptureWriter writer(sink, {.format = format, .snapLen = 64});
        for (const std::size_t length : {63U, 64U, 65U}) {
            EXPECT_TRUE(writer.Write(MakeRecord(nullptr, 0, length)));
        }
        EXPECT_TRUE(writer.Finish().IsGood());
        EXPECT_EQ(writer.Counts().cut, 1U);
        const ReadBack back = Read(capture::ByteSource::Memory(sink.content));
        EXPECT_EQ(back.traits.snapLen, 64U);
        ASSERT_EQ(back.bytes.size(), 3U);
        EXPECT_EQ(back.bytes[2], kNoise.substr(0, 64));
        EXPECT_EQ(back.originalLengths[2], 72U);
    }
}

TEST(CaptureWriterTest, CountsWhatAPcapFileDoesNotHold) {
    const Interface ofFirst{.linkType = 1, .fcsLength = 32}, ofSecond{.linkType = 1};
    codec::StringSink sink;
    CaptureWriter writer(sink, {.format = Format::kClassicMicroseconds});
    for (const std::int64_t time : {std::int64_t{1001}, std::int64_t{-1}, std::int64_t{1'000'000'000} << 32}) {
        EXPECT_TRUE(writer.Write(MakeRecord(time == -1 ? &ofSecond : &ofFirst, time, 1)));
    }
    const WriterCounts counts = writer.Counts();
    EXPECT_TRUE(counts.records == 3 && counts.roundedDown == 1 && counts.beforeEpoch == 1 && counts.beyondEnd == 1 &&
                counts.otherFcsLength == 1 && counts.cut == 0);
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
        constexpr int kCalls = 6;
        for (int failing = 1; failing <= kCalls + 1; ++failing) {
            codec::StringSink sink;
            sink.failingCall = failing;
            CaptureWriter writer(sink, {.threads = threads});
            int written = 0;
            for (; written < 20 && writer.Write(MakeRecord(nullptr, 0, 65536)); ++written) {
            }
            const std::string outcome = writer.Finish().text;
            EXPECT_EQ(outcome, failing <= kCalls ? "write " + std::to_string(failing) : "") << threads;
            EXPECT_EQ(sink.isFinished, failing > kCalls);
            EXPECT_TRUE(failing < kCalls || written == 20) << "the last one is at the end";
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
        const ReadBack empty = Read(directory / name);
        EXPECT_EQ(empty.problem, "");
        EXPECT_EQ(empty.traits.linkType, format == Format::kPcapNg ? std::nullopt : std::optional(113U));
        CaptureWriter second(directory / name, {.format = format});
        EXPECT_EQ(second.Outcome().kind, codec::OutputOutcome::Kind::kExists);
        CaptureWriter replacing(directory / name, {.format = format, .replacesExisting = true});
        EXPECT_TRUE(replacing.Write(MakeRecord(nullptr, 5, 1)));
        EXPECT_TRUE(Read(directory / name).times.empty());
        EXPECT_TRUE(replacing.Finish().IsGood());
        EXPECT_EQ(Read(directory / name).times, std::vector<std::int64_t>{format == Format::kPcapNg ? 5 : 0});
    }
    EXPECT_EQ(CaptureWriter(directory / "none/out").Finish().error, ENOENT);
}

}  // namespace
}  // namespace velora::output
