// A capture read record by record, from wherever its bytes come.

#include "velora/capture/capture_reader.h"

#include <cerrno>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/codec/string_sink.h"
#include "tests/support/capture_builder.h"
#include "tests/support/temp_dir.h"
#include "velora/codec/compressed_sink.h"

namespace velora::capture {
namespace {

static_assert(std::input_iterator<CaptureReader::Iterator> && std::ranges::input_range<CaptureReader>);

// The records that are left, and what is wrong behind them.
std::string Rest(CaptureReader& reader) {
    std::string seen;
    for (const Record& record : reader) {
        seen += std::to_string(record.time) + std::string(record.Bytes().begin(), record.Bytes().end()) + ' ';
    }
    EXPECT_EQ(reader.Next(), nullptr) << "still";
    return seen + (reader.GetProblem() ? reader.GetProblem()->text : "");
}

// Both ends of a pipe, through which a writer that is known to be there sends.
struct Pipe {
    Pipe() { EXPECT_EQ(pipe(ends), 0); }
    ~Pipe() {
        close(ends[0]);
        CloseWriter();
    }
    void Send(std::string_view bytes) const {
        EXPECT_EQ(write(ends[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    void CloseWriter() {
        close(ends[1]);
        ends[1] = open("/dev/null", O_WRONLY);
    }
    int ends[2];
};

TEST(CaptureReaderTest, GivesTheSameRecordsFromEverySource) {
    const std::string bytes = Zstd(CaptureBuilder().Record(1, 2, "abc").Record(3, 4, "d").Bytes() + "x");
    const TempDir directory;
    Pipe pipe;
    pipe.Send(bytes);
    pipe.CloseWriter();
    std::size_t given = 0;
    const auto byTwo = [&](std::span<std::uint8_t> room) {
        const std::size_t count =
            bytes.copy(reinterpret_cast<char*>(room.data()), std::min<std::size_t>(2, room.size()), given);
        given += count;
        return static_cast<std::ptrdiff_t>(count);
    };
    const std::pair<const char*, ByteSource> rows[] = {
        {"path", directory.Write("file", bytes)},
        {"descriptor", ByteSource::Descriptor(pipe.ends[0])},
        {"memory", ByteSource::Memory(bytes)},
        {"function", ByteSource::Function(byTwo)},
    };
    for (const auto& [about, source] : rows) {
        SCOPED_TRACE(about);
        CaptureReader reader;
        EXPECT_FALSE(reader.Open(source));
        EXPECT_EQ(reader.Traits().compression, codec::Compression::kZstd);
        EXPECT_EQ(Rest(reader),
                  "1000002000abc 3000004000d 2 records read, then at byte 60: the file ends inside a record");
    }
}

TEST(CaptureReaderTest, SaysWhyNothingIsOpen) {
    const auto failing = [](auto outcome) {
        return ByteSource::Function([outcome](std::span<std::uint8_t> room) -> std::ptrdiff_t {
            return static_cast<std::ptrdiff_t>(outcome(room));
        });
    };
    const struct {
        const char* about;
        ByteSource source;
        std::string text;
    } rows[] = {
        {.about = "no file", .source = "missing", .text = "cannot be opened: No such file or directory"},
        {.about = "a closed descriptor",
         .source = ByteSource::Descriptor(-1),
         .text = "cannot be opened: Bad file descriptor"},
        {.about = "no capture",
         .source = ByteSource::Memory(std::string_view("text")),
         .text = "no capture: it begins with 74 65 78 74, which is neither pcap nor pcap-ng"},
        {.about = "a function that fails",
         .source = failing([](auto) { return -EPERM; }),
         .text = "Operation not permitted"},
        {.about = "throws", .source = failing([](auto) -> int { throw 1; }), .text = "Input/output error"},
        {.about = "claims more than there is room for",
         .source = failing([](auto room) { return room.size() + 1; }),
         .text = "Input/output error"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.about);
        CaptureReader reader;
        const std::optional<Problem> problem = reader.Open(row.source);
        EXPECT_EQ(problem ? problem->text : "", row.text);
        EXPECT_EQ(Rest(reader), row.text);
        EXPECT_FALSE(reader.Open(ByteSource::Memory(CaptureBuilder().Record(1, 0, "a").Bytes())));
        EXPECT_EQ(Rest(reader), "1000000000a ") << "it can be opened anew";
    }
}

// What a program sends that hands on the header, and each of three records, as soon as it has them.
std::vector<std::string> Sent(const std::string& header, const std::string& record, codec::Compression compression) {
    codec::StringSink sink;
    const auto compressed = codec::MakeCompressedSink(compression, sink, 1);
    codec::ByteSink& to = compressed ? *compressed : sink;
    std::vector<std::string> pieces;
    for (const std::string& piece : {header, record, record, record}) {
        EXPECT_TRUE(to.Write(codec::BytesOf(piece)).IsGood() && to.Flush().IsGood());
        pieces.push_back(std::exchange(sink.content, {}));
    }
    return pieces;
}

TEST(CaptureReaderTest, GivesEachRecordAsItArrivesWhenAskedTo) {
    const std::string classic = CaptureBuilder().Bytes(), pcapNg = PcapNgBuilder().Bytes();
    const std::pair<std::string, std::string> captures[] = {
        {classic, CaptureBuilder().Record(1, 0, "abc").Bytes().substr(classic.size())},
        {pcapNg, PcapNgBuilder().Packet(1000000, "abc").Bytes().substr(pcapNg.size())},
    };
    for (const auto compression : {codec::Compression::kNone, codec::Compression::kGzip, codec::Compression::kZstd}) {
        for (const auto& [header, record] : captures) {
            SCOPED_TRACE(NameOf(compression));
            const std::vector<std::string> pieces = Sent(header, record, compression);
            Pipe pipe;  // whose writer stays: a reader that asked for more than there is would wait for ever
            pipe.Send(pieces[0]);
            CaptureReader reader;
            ASSERT_FALSE(reader.Open(ByteSource::Descriptor(pipe.ends[0]), {.givesAtOnce = true}));
            EXPECT_EQ(reader.Traits().linkType, 1U);
            for (std::size_t count = 1; count <= 3; ++count) {
                pipe.Send(pieces[count]);
                const Record* const given = reader.Next();
                ASSERT_TRUE(given != nullptr && given->capturedLength == 3);
            }
            pipe.Send(record.substr(1));
            pipe.CloseWriter();
            EXPECT_EQ(Rest(reader).substr(0, 15), "3 records read,");
        }
    }
}

TEST(CaptureReaderTest, GoesOnWhereItIsMovedTo) {
    std::vector<CaptureReader> readers(1);
    const std::string bytes = CaptureBuilder().Record(1, 0, "a").Record(2, 0, "b").Record(3, 0, "c").Bytes();
    ASSERT_FALSE(readers[0].Open(ByteSource::Memory(bytes)));
    EXPECT_NE(readers[0].Next(), nullptr);
    readers.resize(2000);
    CaptureReader taken = std::move(readers[0]);
    EXPECT_EQ(Rest(readers[0]), "");
    EXPECT_EQ(Rest(taken), "2000000000b 3000000000c ");
}

TEST(CaptureReaderTest, TellsInterfacesWithTheirNamesAndWhatItDoesNotGive) {
    PcapNgBuilder file = PcapNgBuilder::Empty().Section(false, PcapNgBuilder().Option(1, "words"));
    file.Interface(1, 0, file.Option(2, "eth0") + file.Option(13, "\x20")).Interface(113, 0, file.Option(2, "any"));
    file.PacketOf(1, 1, "x").Block(4, "").Section().Interface(101, 0, file.Option(2, std::string(40000, 'n')));
    for (int more = 0; more < 40; ++more) {  // together longer than what is kept
        file.Interface(101, 0, file.Option(2, std::string(40000, static_cast<char>('A' + more))));
    }
    CaptureReader reader;
    ASSERT_FALSE(reader.Open(ByteSource::Memory(file.PacketOf(0, 2, "y").Bytes())));
    std::vector<std::string> names;
    for (const Record& record : reader) {
        names.push_back(std::string(record.interface->name.substr(0, 5)));
    }
    EXPECT_EQ(names, (std::vector<std::string>{"any", "nnnnn"}));
    EXPECT_EQ(reader.NotGiven(), (Extras{.comments = 1, .nameBlocks = 1, .interfaceNames = 15}));
    ASSERT_EQ(reader.Interfaces().size(), 43U);
    const Interface& unused = reader.Interfaces()[0].first;
    EXPECT_TRUE(unused.name == "eth0" && unused.fcsLength == 32 && unused.linkType == 1);
}

}  // namespace
}  // namespace velora::capture
