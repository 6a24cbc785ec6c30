// Every form of capture through the block reader: what is accepted and what is not, where damage is said to be, and
// that neither the size of the blocks nor that of the pieces in which a file arrives changes any of it.

#include "velora/capture/block_reader.h"

#include <cerrno>
#include <random>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/capture/read_whole.h"
#include "tests/support/capture_builder.h"
#include "tests/support/temp_dir.h"
#include "velora/capture/capture_reader.h"
#include "velora/capture/tick_time.h"

namespace velora::capture {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kLatest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kEarliest = std::numeric_limits<std::int64_t>::min();
constexpr std::uint32_t kMost = 128U << 20U;  // of the bytes of any record

std::vector<std::int64_t> TimesOf(const ReadCapture& read) {
    std::vector<std::int64_t> times;
    for (const OwnedRecord& record : read.Records()) {
        times.push_back(record.time);
    }
    return times;
}

TEST(BlockReaderTest, ReadsEveryFormOfClassicCapture) {
    struct Row {
        const char* name;
        CaptureBuilder header;
        Format format;
        std::int64_t unit;
    };
    const Row rows[] = {{"microseconds", CaptureBuilder(), Format::kClassicMicroseconds, 1000},
                        {"nanoseconds", CaptureBuilder().Nanoseconds(), Format::kClassicNanoseconds, 1},
                        {"modified", CaptureBuilder().Modified(), Format::kClassicModified, 1000}};
    for (const Row& row : rows) {
        for (const bool isBig : {false, true}) {
            CaptureBuilder file = row.header;
            file.BigEndian(isBig).LinkType(0xF4000071).SnapLen(300000);
            file.Record(0, 0, "").Record(-1, 999999, 3, 1500, "abc").Record(7, 2000000001, "later than it says");
            const ReadCapture read = ReadWhole(file.Bytes());
            ASSERT_TRUE(read.isCapture && !read.problem) << row.name << isBig;
            const std::vector<OwnedRecord> records = {
                {0, 0, 0, ""},
                {0xFFFFFFFF * kSecond + 999999 * row.unit, 1500, 0, "abc"},
                {7 * kSecond + 2000000001 * row.unit, 18, 0, "later than it says"}};
            EXPECT_TRUE(read.Records() == records) << row.name << isBig;
            EXPECT_EQ(read.traits.format, row.format);
            EXPECT_EQ(read.traits.linkType, 0x71U);
            EXPECT_EQ(read.traits.fcsBits, 0xF4000000);
            EXPECT_EQ(read.traits.snapLen, 300000U);
            EXPECT_EQ(read.traits.isFinerThanMicroseconds, row.unit == 1);
            EXPECT_EQ(read.stepsBack, 1U);
        }
    }
}

TEST(BlockReaderTest, TellsWhichLengthIsTheCapturedOneByTheVersion) {
    struct Row {
        std::uint16_t major, minor;
        std::uint32_t first, second;  // lengths, as they stand in the file
        std::uint32_t captured, original;
    };
    for (const Row& row : {Row{2, 0, 9, 4, 4, 9}, Row{2, 2, 9, 4, 4, 9}, Row{2, 2, 4, 9, 9, 4}, Row{2, 3, 9, 4, 4, 9},
                           Row{2, 3, 4, 9, 4, 9}, Row{2, 3, 4, 4, 4, 4}, Row{2, 4, 9, 4, 9, 4}, Row{2, 4, 4, 9, 4, 9},
                           Row{1, 2, 4, 9, 4, 9}, Row{3, 0, 4, 9, 4, 9}, Row{543, 0, 4, 9, 4, 9}}) {
        for (const bool isBig : {false, true}) {
            CaptureBuilder file = CaptureBuilder().BigEndian(isBig).Version(row.major, row.minor);
            file.Record(1, 0, row.first, row.second, std::string(row.captured, 'x'));
            const ReadCapture read = ReadWhole(file.Bytes());
            ASSERT_FALSE(read.problem) << row.major << '.' << row.minor << ' ' << row.first << ": "
                                       << read.problem->text;
            EXPECT_EQ(read.Records().front().data.size(), row.captured);
            EXPECT_EQ(read.Records().front().originalLength, row.original);
        }
    }
}

// A length that may be makes the reader wait for the bytes, which do not come; another is refused. Neither takes room.
TEST(BlockReaderTest, BelievesLengthsUpToABound) {
    struct Row {
        std::uint16_t linkType;
        std::uint32_t snapLen, longest;
    };
    for (const Row& row : {Row{1, 0, 262144}, Row{1, 65535, 262144}, Row{1, 262145, 262145}, Row{1, 0xFFFFFFFF, kMost},
                           Row{1, kMost + 1, kMost}, Row{1, kMost - 1, kMost - 1}, Row{231, 0, kMost},
                           Row{249, 65535, kMost}, Row{230, 0, 262144}}) {
        for (const std::uint32_t excess : {0U, 1U, 0xFFFFFFFF - row.longest}) {
            const std::uint32_t length = row.longest + excess;
            const auto number = [](std::uint32_t value) { return PcapNgBuilder().Number(value); };
            CaptureBuilder classic = CaptureBuilder().LinkType(row.linkType).SnapLen(row.snapLen);
            PcapNgBuilder next = PcapNgBuilder::Empty().Section().Interface(row.linkType, row.snapLen);
            next.Raw(number(6) + number(132 + kMost) + std::string(12, '\0') + number(length) + number(0));
            for (const std::string& file : {classic.Record(1, 2, length, 0, "cut").Bytes(), next.Bytes()}) {
                const ReadCapture read = ReadWhole(file, {.blockSize = 64});
                ASSERT_TRUE(read.problem) << row.linkType << ' ' << row.snapLen;
                EXPECT_EQ(read.problem->text.find("claims") != std::string::npos, excess > 0) << read.problem->text;
                EXPECT_LE(read.largestRoom, 2 * file.size());
            }
        }
    }
}

const std::string kEnd = PcapNgBuilder().Option(0, "");

TEST(BlockReaderTest, ReadsPcapNgWithAllItsOddities) {
    for (const bool isBig : {false, true}) {
        // Interfaces belong to a section.
        for (PcapNgBuilder behind : {PcapNgBuilder::Empty(), PcapNgBuilder(1)}) {
            for (const bool isSimple : {false, true}) {
                behind.Section(isBig);
                isSimple ? behind.SimplePacket(0, "") : behind.Packet(1, "");
                EXPECT_TRUE(
                    ReadWhole(behind.Bytes()).problem->text.ends_with("interface 0, which was never described"));
            }
        }
        PcapNgBuilder file = PcapNgBuilder::Empty().Section(isBig).Block(0xBAD, "stepped over");
        const std::string early = file.Option(14, std::string(isBig ? "\0\0\0\0\0\0\0\x64" : "\x64\0\0\0\0\0\0\0", 8));
        file.Interface(1, 4).Interface(14, 0, file.Option(9, "\x09") + early + kEnd + file.Option(9, "\x03"));
        file.SimplePacket(9, "abcd").PacketOf(0, 5, "five").ObsoletePacket(0, 4, "").SimplePacket(2, "xy");
        file.Interface(12, 0);  // behind the first record: raw IP too, which does not fit
        file.PacketOf(1, 1, "another link type").PacketOf(2, 2, "another");
        file.SimplePacket(3, "abc");
        // A section of the other order, whose interfaces begin anew.
        file.Section(!isBig).Interface(1, 0, file.Option(9, "\x83")).PacketOf(0, 3, "eighths");
        const std::vector<OwnedRecord> records = {{0, 9, 0, "abcd"},   {5000, 4, 0, "five"},
                                                  {4000, 0, 0, ""},    {4000, 2, 0, "xy"},
                                                  {2000, 3, 0, "abc"}, {375'000'000, 7, 3, "eighths"}};
        const ReadCapture read = ReadWhole(file.Bytes());
        ASSERT_FALSE(read.problem) << read.problem->text;
        EXPECT_TRUE(read.Records() == records) << isBig;
        EXPECT_EQ(read.recordsRead, 8U);
        EXPECT_EQ(read.recordsLeftOut, 2U);
        EXPECT_EQ(read.traits.linkType, 1U);
        EXPECT_EQ(read.traits.snapLen, 4U);
        EXPECT_TRUE(read.traits.isFinerThanMicroseconds) << "of the second interface, which is told of in time";
        EXPECT_FALSE(read.hasExtras);

        const ReadCapture mixed = ReadWhole(file.Bytes(), {.keepsAllLinkTypes = true});
        ASSERT_EQ(mixed.Records().size(), 8U);
        EXPECT_EQ(mixed.interfaces, 4U);
        EXPECT_TRUE((mixed.Records()[4] == OwnedRecord{100 * kSecond + 1, 17, 1, "another link type"}));
    }
}

TEST(BlockReaderTest, NotesWhatHasNoPlaceInARecord) {
    const PcapNgBuilder any;
    const std::string comment = any.Option(1, "words");
    const std::string overrunning = comment.substr(0, 2) + "\xFF\xFF" + comment.substr(4);
    const auto section = [](const std::string& options) { return PcapNgBuilder::Empty().Section(false, options); };
    struct Row {
        const char* name;
        PcapNgBuilder file;
        bool isNoted;
    };
    const Row rows[] = {
        {"nothing", any, false},
        {"names", PcapNgBuilder().Block(4, ""), true},
        {"secrets", PcapNgBuilder().Block(10, ""), true},
        {"statistics", PcapNgBuilder().Block(5, "12345678"), false},
        {"comment of the section", section(any.Option(2, "box") + comment + kEnd), true},
        {"its hardware", section(any.Option(2, "box") + kEnd), false},
        {"comment of an interface", section("").Interface(1, 0, comment), true},
        {"comment of a packet", PcapNgBuilder().PacketOf(0, 1, "abc", comment), true},
        {"flags of a packet", PcapNgBuilder().PacketOf(0, 1, "abc", any.Option(2, "abcd")), false},
        {"behind the end", PcapNgBuilder().PacketOf(0, 1, "abc", kEnd + comment), false},
        {"overrunning in a packet", PcapNgBuilder().PacketOf(0, 1, "abc", overrunning), false},
        {"overrunning in an interface", section("").Interface(1, 0, overrunning), false},
    };
    for (const Row& row : rows) {
        const ReadCapture read = ReadWhole(row.file.Bytes());
        EXPECT_FALSE(read.problem) << row.name << read.problem->text;
        EXPECT_EQ(read.hasExtras, row.isNoted) << row.name;
    }
}

// Damage behind two whole records: what is said of it.
TEST(BlockReaderTest, NamesThePlaceAndTheReasonOfDamage) {
    const auto next = [] { return PcapNgBuilder(1, 6).Packet(1, "abcd").Packet(2, "ef"); };
    const auto number = [](std::uint32_t value) { return PcapNgBuilder().Number(value); };
    const auto block = [&](std::uint32_t type, std::uint32_t length, std::string body, std::uint32_t second) {
        return next().Raw(number(type) + number(length) + body + number(second)).Bytes();
    };
    const auto packet = [&](std::uint32_t interface, std::uint32_t captured, std::uint32_t length) {
        return block(6, length, number(interface) + number(0) + number(1) + number(captured) + number(0) + "datadata",
                     length);
    };
    const CaptureBuilder classic = CaptureBuilder().Record(1, 0, "abcd").Record(2, 0, "ef");
    struct Row {
        const char* name;
        std::string file;
        const char* reason;  // null: it is no damage
    };
    const Row rows[] = {
        {"a piece of a record header", classic.Bytes() + "123456789012345", "the file ends inside a record"},
        {"a piece of its data", CaptureBuilder(classic).Record(3, 0, 4, 4, "xyz").Bytes(),
         "the file ends inside a record"},
        {"no data", CaptureBuilder(classic).Record(3, 0, 0, 4, "").Bytes(), nullptr},
        {"classic, a claim", CaptureBuilder(classic).Record(3, 0, 262145, 4, "").Bytes(),
         "a record claims 262145 bytes, where at most 262144 can be"},
        {"a piece of a block header", next().Raw("1234567").Bytes(), "the file ends inside a block"},
        {"a block of 8", block(0xBAD, 8, "", 8), "a block's length, 8, is too small"},
        {"a block of 12", block(0xBAD, 12, "", 12), nullptr},
        {"a block of 14", block(0xBAD, 14, "xx", 14), "a block's length, 14, is no multiple of four"},
        {"a block of 16", block(0xBAD, 16, "xxxx", 16), nullptr},
        {"one with two lengths", block(0xBAD, 16, "xxxx", 20), "the two lengths of a block differ"},
        {"one of nearly 4 GiB", block(0xBAD, 0xFFFFFFFC, "xxxx", 16), "the file ends inside a block"},
        {"section of 24", block(0x0A0D0D0A, 24, number(0x1A2B3C4D) + "12345678", 24),
         "a block's length, 24, is too small"},
        {"section of no order", block(0x0A0D0D0A, 28, number(0x1A2B3C4E) + "123456789012", 28),
         "a section header tells no byte order"},
        {"section of version 2", next().Section(true, "", 2).Bytes(), "a section of version 2, which is not known"},
        {"section without an end", block(0x0A0D0D0A, 32, number(0x1A2B3C4D) + number(1) + "12345678", 32),
         "the file ends inside a block"},
        {"section of two lengths", block(0x0A0D0D0A, 28, number(0x1A2B3C4D) + number(1) + "12345678", 32),
         "the two lengths of a block differ"},
        {"interface of 16", block(1, 16, "1234", 16), "a block's length, 16, is too small"},
        {"interface of 20", block(1, 20, "12345678", 20), nullptr},
        {"packet of 28", block(6, 28, std::string(16, '\0'), 28), "a block's length, 28, is too small"},
        {"packet that fits", packet(0, 8, 40), nullptr},
        {"packet that does not", packet(0, 9, 40), "a packet's captured bytes do not fit into its block"},
        {"packet of interface 1", packet(1, 8, 40), "a packet of interface 1, which was never described"},
        {"packet with a claim", packet(0, 262145, 40), "a record claims 262145 bytes, where at most 262144 can be"},
        {"packet of 257 MiB", packet(0, 8, 257U << 20U), "a block claims 269484032 bytes"},
        {"simple packet of 12", block(3, 12, "", 12), "a block's length, 12, is too small"},
        {"simple packet that fits", block(3, 20, number(4) + "abcd", 20), nullptr},
        {"simple packet that does not", block(3, 20, number(5) + "abcd", 20),
         "a packet's captured bytes do not fit into its block"},
        {"another compression", classic.Bytes() + "\x1F\x8B\x08", "the file ends inside a record"},
        {"behind gzip", Gzip(classic.Bytes()) + "x", "followed by bytes that are no further gzip member"},
        {"zeros behind gzip", Gzip(classic.Bytes()) + std::string(700, '\0'), nullptr},
        {"bad bzip2", Bzip2(classic.Bytes()) + "BZh9 no", "bad bzip2 data: invalid block or wrong checksum"},
        {"cut xz", Xz(classic.Bytes()) + Xz("xyz").substr(0, 20), "the xz stream ends in its middle"},
    };
    for (const Row& row : rows) {
        const bool isNext = row.file.starts_with("\x0A\x0D\x0D\x0A");
        const std::size_t offset = isNext ? next().Bytes().size() : classic.Bytes().size();
        for (const std::size_t blockSize : {64U, 100U, 1U << 20U}) {
            const ReadCapture read = ReadWhole(row.file, {.blockSize = blockSize}, 7);
            ASSERT_GE(read.recordsRead, 2U) << row.name;
            ASSERT_EQ(read.problem.has_value(), row.reason != nullptr)
                << row.name << (read.problem ? read.problem->text : "");
            if (read.problem) {
                EXPECT_EQ(read.problem->kind, ProblemKind::kDamage) << row.name;
                EXPECT_EQ(read.problem->text,
                          "2 records read, then at byte " + std::to_string(offset) + ": " + row.reason)
                    << row.name;
                EXPECT_EQ(read.problem->records, 2U);
                EXPECT_EQ(read.problem->offset, offset);
            }
        }
    }
}

TEST(BlockReaderTest, HasAnEndOfInterfaces) {
    PcapNgBuilder file;
    while (file.Bytes().size() < 28 + 32 + std::size_t{65535} * 20) {
        file.Interface(1, 0);
    }
    EXPECT_FALSE(ReadWhole(file.PacketOf(65535, 1, "x").Bytes()).problem);
    const std::string reason = "more than 65536 interfaces in a section";
    EXPECT_TRUE(ReadWhole(PcapNgBuilder(file).Interface(1, 0).Bytes()).problem->text.ends_with(reason));
    EXPECT_FALSE(ReadWhole(file.Section().Interface(1, 0).Bytes()).problem) << "each section counts its own";
}

TEST(BlockReaderTest, SaysWhyAFileIsNoCapture) {
    const std::string classic = CaptureBuilder().Bytes();
    const std::string next = PcapNgBuilder::Empty().Section().Bytes();
    for (const auto& [file, reason] :
         {std::pair<std::string, std::string>{"", "it is empty"},
          {"abc", "it has 3 bytes, less than any capture"},
          {"abcdef", "it begins with 61 62 63 64, which is neither pcap nor pcap-ng"},
          {classic.substr(0, 23), "the file ends inside the file header"},
          {next.substr(0, 27), "the file ends inside the section header"},
          {PcapNgBuilder::Empty().Section(false, "", 0).Bytes(), "a section of version 0, which is not known"},
          {Gzip(""), "it is empty"},
          {Gzip(classic).substr(0, 15), "the gzip stream ends in its middle"},
          {Zstd(Gzip(classic)), "gzip inside zstd, and one level of compression is undone"},
          {"\x02\x21\x4C\x18....", "it is in the legacy format of lz4"}}) {
        const ReadCapture read = ReadWhole(file);
        EXPECT_FALSE(read.isCapture) << reason;
        ASSERT_TRUE(read.problem) << reason;
        EXPECT_EQ(read.problem->text, "no capture: " + reason);
        EXPECT_EQ(read.problem->kind, ProblemKind::kNoCapture);
    }
    for (const std::string& file : {classic, next}) {
        EXPECT_TRUE(ReadWhole(file).isCapture && !ReadWhole(file).problem && !ReadWhole(file).traits.hasRecord);
    }
    EXPECT_EQ(ReadWhole("", {}, 1, EIO).problem->text, "Input/output error");
    EXPECT_EQ(ReadWhole(CaptureBuilder().Record(1, 0, "x").Bytes() + "ab", {}, 1, EIO).problem->text,
              "1 record read, then at byte 41: Input/output error");
}

TEST(BlockReaderTest, TellsWhichRecordsAWrongChecksumMakesDoubtful) {
    const std::string first = CaptureBuilder().Record(1, 0, "first").Record(2, 0, "second").Bytes();
    const std::string rest = CaptureBuilder().Record(3, 0, "third").Record(4, 0, "fourth").Bytes().substr(24);
    const auto fails = [](std::string member, std::size_t fromEnd) {
        member[member.size() - fromEnd] ^= 1;
        return member;
    };
    const std::string bad = CaptureBuilder().Record(5, 0, 0xFFFFFFFF, 0, std::string(9999, 'x')).Bytes().substr(24);
    const std::string text = " checksum: 4 records kept, doubtful from record ";
    for (const std::size_t blockSize : {64U, 100U, 1U << 20U}) {
        for (const std::size_t cut : {first.size(), first.size() + 3}) {  // the member ends behind a record, inside one
            const std::string all = first + rest;
            const std::string one = all.substr(0, cut);
            const std::string two = all.substr(cut);
            const std::string end = Gzip(CaptureBuilder().Record(9, 0, "not read").Bytes().substr(24));
            for (const auto& [file, expected] :
                 {std::pair{Gzip(one) + fails(Gzip(two), 8) + end, "wrong gzip" + text + "3 on"},
                  {Gzip(one) + fails(Gzip(two), 1) + end, "wrong gzip" + text + "3 on"},
                  {fails(Gzip(all), 5) + end, "wrong gzip" + text + "1 on"},
                  {fails(Gzip(all + bad), 8) + end, "wrong gzip" + text + "1 on"},
                  {Gzip(one) + fails(Gzip(two + bad), 8) + end, "wrong gzip" + text + "3 on"},
                  {Zstd(one) + fails(Zstd(two), 1), "wrong zstd" + text + "3 on"},
                  {Lz4(one) + fails(Lz4(two), 2), "wrong lz4" + text + "3 on"}}) {
                const ReadCapture read = ReadWhole(file, {.blockSize = blockSize}, 5);
                ASSERT_TRUE(read.problem) << expected;
                EXPECT_EQ(read.problem->text, expected) << blockSize << ' ' << cut;
                EXPECT_EQ(read.problem->kind, ProblemKind::kWrongChecksum);
                EXPECT_EQ(read.Records().size(), 4U);
            }
        }
    }
}

// Captures with something of everything, and where their records and blocks begin.
struct Sample {
    const char* name;
    std::string bytes;
    std::vector<std::size_t> places;  // ends with the size
};

std::vector<Sample> Samples() {
    std::vector<Sample> samples = {{"classic", CaptureBuilder().Bytes(), {24}},
                                   {"modified", CaptureBuilder().BigEndian().Modified().Bytes(), {24}},
                                   {"pcap-ng", "", {0}}};
    CaptureBuilder classic;
    CaptureBuilder modified = CaptureBuilder().BigEndian().Modified();
    PcapNgBuilder next = PcapNgBuilder::Empty();
    const auto grow = [&next, &places = samples[2].places](const PcapNgBuilder& builder) {
        static_cast<void>(builder);
        places.push_back(next.Bytes().size());
    };
    grow(next.Section(true, next.Option(1, "what a section says")));
    grow(next.Interface(1, 65535));
    for (int record = 0; record < 9; ++record) {
        const std::string data(static_cast<std::size_t>(record * record), static_cast<char>('a' + record));
        samples[0].places.push_back(classic.Record(record % 4, 7, data).Bytes().size());
        samples[1].places.push_back(modified.Record(record % 4, 7, data).Bytes().size());
        grow(record % 3 == 0 ? next.SimplePacket(static_cast<std::uint32_t>(data.size()), data)
                             : next.Packet(static_cast<std::uint64_t>(record % 4), data));
        if (record == 5) {
            grow(next.Block(0xBAD, std::string(150, 'x')));
            grow(next.Section(false));
            grow(next.Interface(1, 0, next.Option(9, "\x09")));
        }
    }
    samples[0].bytes = classic.Bytes();
    samples[1].bytes = modified.Bytes();
    samples[2].bytes = next.Bytes();
    return samples;
}

struct Packer {
    const char* name;
    std::string (*pack)(std::string_view);
};
const Packer kPackers[] = {{"as it is", [](std::string_view bytes) { return std::string(bytes); }},
                           {"gzip", Gzip},
                           {"bzip2", [](std::string_view bytes) { return Bzip2(bytes); }},
                           {"xz", Xz},
                           {"zstd", Zstd},
                           {"lz4", [](std::string_view bytes) { return Lz4(bytes); }}};

TEST(BlockReaderTest, ReadsTheSameInBlocksAndPiecesOfEverySize) {
    for (const Sample& sample : Samples()) {
        for (const Packer& packer : kPackers) {
            const std::string file = packer.pack(sample.bytes);
            const ReadCapture whole = ReadWhole(file);
            EXPECT_FALSE(whole.problem) << whole.problem->text;
            EXPECT_EQ(whole.blocks.size(), 1U);
            for (const std::size_t blockSize : {64U, 65U, 79U, 128U, 300U}) {
                for (const std::size_t piece : {1U, 13U, 1000U}) {
                    const ReadCapture read = ReadWhole(file, {.blockSize = blockSize}, piece);
                    EXPECT_GT(read.blocks.size(), 1U);
                    EXPECT_TRUE(read.Records() == whole.Records() && !read.problem &&
                                read.stepsBack == whole.stepsBack && read.traits.snapLen == whole.traits.snapLen &&
                                read.traits.compression == whole.traits.compression)
                        << sample.name << ", " << packer.name << ", blocks of " << blockSize << ", pieces of " << piece;
                }
            }
        }
    }
}

TEST(BlockReaderTest, KeepsWhatStandsBeforeEveryCut) {
    for (const Sample& sample : Samples()) {
        const std::vector<OwnedRecord> all = ReadWhole(sample.bytes).Records();
        for (const Packer& packer : kPackers) {
            const std::string file = packer.pack(sample.bytes);
            std::size_t before = 0;
            for (std::size_t size = 0; size < file.size(); ++size) {
                const ReadCapture read = ReadWhole(file.substr(0, size), {.blockSize = 64});
                const auto records = read.Records();
                const auto where = ::testing::Message() << sample.name << ", " << packer.name << ", cut at " << size;
                ASSERT_TRUE(records.size() <= all.size() &&
                            std::ranges::equal(records, std::span(all).first(records.size())))
                    << where;
                ASSERT_GE(records.size(), before) << where;
                before = records.size();
                const bool isBetween = file == sample.bytes && size > 0 && std::ranges::count(sample.places, size) > 0;
                ASSERT_EQ(read.problem.has_value(), !isBetween) << where;
                if (!read.problem || !read.isCapture) {
                    continue;
                }
                // The first place that is not whole: of all those in front of the cut, the last.
                const std::size_t place = read.problem->offset;
                ASSERT_EQ(read.problem->records, records.size()) << where;
                ASSERT_EQ(std::ranges::count(sample.places, place), 1) << where << read.problem->text;
                ASSERT_EQ(ReadWhole(sample.bytes.substr(0, place)).Records().size(), records.size()) << where;
                if (file == sample.bytes) {
                    ASSERT_EQ(place, *std::prev(std::ranges::upper_bound(sample.places, size))) << where;
                }
                ASSERT_TRUE(read.problem->text.starts_with(std::to_string(records.size()) +
                                                           (records.size() == 1 ? " record" : " records") +
                                                           " read, then at byte " + std::to_string(place) + ": "))
                    << read.problem->text;
            }
            EXPECT_TRUE(before > 0 || packer.pack == kPackers[2].pack) << "bzip2 gives whole blocks only";
        }
    }
}

TEST(BlockReaderTest, ListsTheRecordsOfABlockByTimeAndOfASpan) {
    CaptureBuilder file;
    for (const int second : {5, 3, 9, 3, 7, 1}) {
        file.Record(second, 0, "x");
    }
    const auto times = [&](BlockReader::Options options) {
        std::string text;
        for (const std::int64_t time : TimesOf(ReadWhole(file.Bytes(), options))) {
            text += std::to_string(time / kSecond);
        }
        return text;
    };
    EXPECT_EQ(times({}), "539371");
    EXPECT_EQ(times({.ordersBlocks = true}), "133579");
    EXPECT_EQ(times({.blockSize = 75, .ordersBlocks = true}), "359137");  // 3 records, then 3
    EXPECT_EQ(times({.earliest = 3 * kSecond, .latest = 5 * kSecond}), "533");
    EXPECT_EQ(times({.ordersBlocks = true, .earliest = 3 * kSecond, .latest = 5 * kSecond}), "335");
    EXPECT_EQ(times({.earliest = 10 * kSecond}), "");
}

TEST(TickTimeTest, RoundsDownAndStopsAtTheEnds) {
    struct Row {
        unsigned resolution;
        std::int64_t offset;
        std::uint64_t ticks;
        std::int64_t time;
        bool isFine = false;
    };
    constexpr std::uint64_t kAll = ~std::uint64_t{0};
    for (const Row& row : {Row{6, 0, 1, 1000},
                           Row{0, 0, 1, kSecond},
                           Row{9, 0, 1, 1, true},
                           Row{7, 0, 1, 100, true},
                           Row{10, 0, 19, 1, true},
                           Row{12, 0, 1999, 1, true},
                           Row{12, -1, 999, -kSecond, true},
                           Row{28, 0, kAll, 1, true},
                           Row{29, 0, kAll, 0, true},
                           Row{127, 0, kAll, 0, true},
                           Row{0x80, 0, 3, 3 * kSecond},
                           Row{0x80 | 6, 0, 1, 15'625'000},
                           Row{0x80 | 7, 0, 1, 7'812'500, true},
                           Row{0x80 | 10, 0, 1, 976'562, true},
                           Row{0x80 | 32, 0, std::uint64_t{3} << 31U, kSecond * 3 / 2, true},
                           Row{0x80 | 64, 0, kAll, kSecond - 1, true},
                           Row{0x80 | 127, 0, kAll, 0, true},
                           Row{6, 100, 5, 100 * kSecond + 5000},
                           Row{6, -100, 5, -100 * kSecond + 5000},
                           Row{0, 0, kAll, kLatest},
                           Row{9, 0, kAll, kLatest, true},
                           Row{9, 0, kAll >> 1U, kLatest, true},
                           Row{6, kLatest, 0, kLatest},
                           Row{6, kEarliest, kAll, kEarliest},
                           Row{9, -9'223'372'037, 0, kEarliest, true},
                           Row{9, -9'223'372'036, 0, -9'223'372'036 * kSecond, true}}) {
        const TickTime time(static_cast<std::uint8_t>(row.resolution));
        EXPECT_EQ(time.Nanoseconds(row.ticks, row.offset), row.time)
            << row.resolution << ' ' << row.offset << ' ' << row.ticks;
        EXPECT_EQ(time.IsFinerThanMicroseconds(), row.isFine) << row.resolution;
    }
}

TEST(CaptureReaderTest, GivesOneRecordAfterTheOther) {
    const TempDir directory;
    const std::string path =
        directory.Write("file", Zstd(CaptureBuilder().Record(1, 2, "abc").Record(3, 4, "d").Bytes() + "x"));
    CaptureReader reader(path);
    std::string seen;
    while (const Record* const record = reader.Next()) {
        seen += std::to_string(record->time) + std::string(record->Bytes().begin(), record->Bytes().end()) + ' ';
    }
    EXPECT_EQ(seen, "1000002000abc 3000004000d ");
    EXPECT_EQ(reader.Traits().compression, codec::Compression::kZstd);
    EXPECT_EQ(reader.GetProblem()->text, "2 records read, then at byte 60: the file ends inside a record");
    EXPECT_EQ(reader.Next(), nullptr) << "still";

    CaptureReader missing(directory / "missing");
    EXPECT_EQ(missing.Next(), nullptr);
    EXPECT_EQ(missing.GetProblem()->text, "cannot be opened: No such file or directory");
    CaptureReader folder(directory.Path());
    EXPECT_EQ(folder.Next(), nullptr);
    EXPECT_EQ(folder.GetProblem()->text, "is a directory");
}

}  // namespace
}  // namespace velora::capture
