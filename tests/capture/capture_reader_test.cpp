// A capture read record by record, from wherever its bytes come.

#include "velora/capture/capture_reader.h"

#include <cerrno>

#include <fcntl.h>
#include <gtest/gtest.h>

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

TEST(CaptureReaderTest, GivesTheSameRecordsFromEverySource) {
    const std::string bytes = Zstd(CaptureBuilder().Record(1, 2, "abc").Record(3, 4, "d").Bytes() + "x");
    const TempDir directory;
    const std::string path = directory.Write("file", bytes);
    const MiscUtils::UniqueFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    const auto byTwo = [rest = bytes](std::span<std::uint8_t> room) mutable {
        const std::string piece = rest.substr(0, std::min<std::size_t>(2, room.size()));
        std::ranges::copy(piece, room.begin());
        rest.erase(0, piece.size());
        return std::ssize(piece);
    };
    const std::pair<const char*, ByteSource> rows[] = {
        {"path", path},
        {"descriptor", ByteSource::Descriptor(fd.Get())},
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
    using Room = std::span<std::uint8_t>;
    const auto fails = [](Room /*room*/) -> std::ptrdiff_t { return -EAGAIN; };
    const auto throws = [](Room /*room*/) -> std::ptrdiff_t { throw 1; };
    const auto claims = [](Room room) { return std::ssize(room) + 1; };
    const struct {
        ByteSource source;
        std::string text;
    } rows[] = {
        {.source = "missing", .text = "cannot be opened: No such file or directory"},
        {.source = ByteSource::Descriptor(-1), .text = "cannot be opened: Bad file descriptor"},
        {.source = ByteSource::Memory(std::string_view("a")),
         .text = "no capture: it has 1 byte, less than any capture"},
        {.source = ByteSource::Function(fails), .text = "Resource temporarily unavailable"},
        {.source = ByteSource::Function(throws), .text = "Input/output error"},
        {.source = ByteSource::Function(claims), .text = "Input/output error"},
    };
    for (const auto& row : rows) {
        CaptureReader reader;
        const std::optional<Problem> problem = reader.Open(row.source);
        EXPECT_EQ(problem ? problem->text : "", row.text);
        EXPECT_EQ(Rest(reader), row.text);
        EXPECT_FALSE(reader.Open(ByteSource::Memory(CaptureBuilder().Record(1, 0, "a").Bytes())));
        EXPECT_EQ(Rest(reader), "1000000000a ") << "it can be opened anew";
    }
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
            codec::StringSink arrived;
            const auto compressed = codec::MakeCompressedSink(compression, arrived, 1);
            codec::ByteSink& sender = compressed ? *compressed : arrived;
            const auto send = [&](const std::string& bytes) {
                EXPECT_TRUE(sender.Write(codec::BytesOf(bytes)).IsGood() && sender.Flush().IsGood());
            };
            const auto receive = [&](std::span<std::uint8_t> room) {
                EXPECT_TRUE(!arrived.content.empty() || arrived.isFinished) << "it would wait for ever";
                std::ranges::copy(arrived.content, room.begin());
                return std::ssize(std::exchange(arrived.content, {}));
            };
            send(header);
            CaptureReader reader;
            ASSERT_FALSE(reader.Open(ByteSource::Function(receive), {.givesAtOnce = true}));
            EXPECT_EQ(reader.Traits().linkType, 1U);
            for (int count = 0; count < 3; ++count) {
                send(record);
                const Record* const given = reader.Next();
                ASSERT_TRUE(given != nullptr && given->capturedLength == 3);
            }
            send(record.substr(1));
            static_cast<void>(sender.Finish());
            EXPECT_TRUE(Rest(reader).starts_with("3 records read,"));
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
