// Every form of capture through the block reader: what is accepted and what is not, and where damage is said to be.

#include "velora/capture/block_reader.h"

#include <cerrno>

#include <gtest/gtest.h>

#include "tests/capture/read_whole.h"
#include "tests/support/capture_builder.h"
#include "velora/capture/tick_time.h"

namespace velora::capture {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kLatest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kEarliest = std::numeric_limits<std::int64_t>::min();
constexpr std::uint32_t kMost = 128U << 20U;  // of the bytes of any record
const std::string kEndOfOptions = PcapNgBuilder().Option(0, "");
using Records = std::vector<OwnedRecord>;

// What ended the capture; empty when all of it was read.
std::string ProblemOf(const ReadCapture& read) {
    return read.problem ? read.problem->text : "";
}

std::string Number(std::uint32_t value) {
    return PcapNgBuilder().Number(value);
}

TEST(BlockReaderTest, ReadsEveryFormOfClassicCapture) {
    const struct {
        CaptureBuilder header;
        Format format;
        std::int64_t unit;
    } rows[] = {
        {.header = CaptureBuilder(), .format = Format::kClassicMicroseconds, .unit = 1000},
        {.header = CaptureBuilder().Nanoseconds(), .format = Format::kClassicNanoseconds, .unit = 1},
        {.header = CaptureBuilder().Modified(), .format = Format::kClassicModified, .unit = 1000},
    };
    for (const auto& [header, format, unit] : rows) {
        for (const bool isBig : {false, true}) {
            SCOPED_TRACE(NameOf(format) + std::string(isBig ? ", big-endian" : ""));
            CaptureBuilder file = CaptureBuilder(header).BigEndian(isBig).LinkType(0xF4000071).SnapLen(300000);
            file.Record(0, 0, "").Record(-1, 999999, 3, 1500, "abc").Record(7, 2000000001, "later");
            const ReadCapture read = ReadWhole(file.Bytes());
            const Records records = {
                {.time = 0, .originalLength = 0, .interface = 0, .data = ""},
                {.time = 0xFFFFFFFF * kSecond + 999999 * unit, .originalLength = 1500, .interface = 0, .data = "abc"},
                {.time = 7 * kSecond + 2000000001 * unit, .originalLength = 5, .interface = 0, .data = "later"}};
            EXPECT_TRUE(read.Records() == records && read.stepsBack == 1) << ProblemOf(read);
            EXPECT_EQ(read.traits.format, format);
            EXPECT_EQ(read.traits.isFinerThanMicroseconds, unit == 1);
            EXPECT_TRUE(read.traits.linkType == 0x71 && read.traits.fcsBits == 0xF4000000);
            EXPECT_EQ(read.traits.snapLen, 300000U);
        }
    }
}

TEST(BlockReaderTest, TellsWhichLengthIsTheCapturedOneByTheVersion) {
    // The one of the two lengths in a record's header that is taken for that of its data.
    const auto captured = [&](std::uint16_t major, std::uint16_t minor, std::uint32_t first, std::uint32_t second) {
        CaptureBuilder file = CaptureBuilder().Version(major, minor).Record(1, 0, first, second, "123456789");
        const OwnedRecord record = ReadWhole(file.Bytes()).Records().at(0);
        EXPECT_EQ(record.data.size() + record.originalLength, first + second);
        return record.data.size();
    };
    EXPECT_EQ(captured(2, 2, 9, 4), 4U);
    EXPECT_EQ(captured(2, 3, 9, 4), 4U) << "the less";
    EXPECT_EQ(captured(2, 3, 4, 9), 4U) << "the less";
    EXPECT_EQ(captured(2, 4, 9, 4), 9U);
    EXPECT_EQ(captured(1, 2, 4, 9), 4U);
}

// A length that may be makes the reader wait for the bytes, which do not come; another is refused. Neither takes room.
TEST(BlockReaderTest, BelievesLengthsUpToABound) {
    const auto isRefused = [](std::uint16_t linkType, std::uint32_t snapLen, std::uint32_t length) {
        int refused = 0;
        const std::string rest(99, 'x');
        CaptureBuilder classic = CaptureBuilder().LinkType(linkType).SnapLen(snapLen);
        PcapNgBuilder next = PcapNgBuilder::Empty().Section().Interface(linkType, snapLen);
        next.Raw(Number(6) + Number(132 + kMost) + std::string(12, '\0') + Number(length) + Number(0));
        for (const std::string& file : {classic.Record(1, 2, length, 0, rest).Bytes(), next.Raw(rest).Bytes()}) {
            const ReadCapture read = ReadWhole(file, {.blockSize = 64});
            EXPECT_TRUE(read.problem && read.largestRoom <= 2 * file.size());
            refused += ProblemOf(read).find("claims") != std::string::npos ? 1 : 0;
        }
        EXPECT_NE(refused, 1) << "both formats agree";
        return refused > 0;
    };
    const auto isBound = [&](std::uint16_t linkType, std::uint32_t snapLen, std::uint32_t longest) {
        return !isRefused(linkType, snapLen, longest) && isRefused(linkType, snapLen, longest + 1) &&
               isRefused(linkType, snapLen, 0xFFFFFFFF);
    };
    EXPECT_TRUE(isBound(1, 0, 262144));
    EXPECT_TRUE(isBound(1, 262145, 262145)) << "a larger snaplen is believed";
    EXPECT_TRUE(isBound(1, kMost + 1, kMost));
    EXPECT_TRUE(isBound(231, 0, kMost)) << "D-Bus";
    EXPECT_TRUE(isBound(249, 65535, kMost)) << "USB";
}

TEST(BlockReaderTest, GivesEveryKindOfPacketATimeAndALength) {
    for (const bool isBig : {false, true}) {
        PcapNgBuilder file = PcapNgBuilder::Empty().Section(isBig).Block(0xBAD, "stepped over").Interface(1, 4);
        const std::string offset(isBig ? "\0\0\0\0\0\0\0\x64" : "\x64\0\0\0\0\0\0\0", 8);
        file.Interface(1, 0, file.Option(9, "\x83"));
        file.Interface(1, 0, file.Option(9, "\x09") + file.Option(14, offset) + kEndOfOptions + file.Option(9, "\x03"));
        file.SimplePacket(9, "abcd").PacketOf(0, 5, "five").ObsoletePacket(0, 4, "").SimplePacket(2, "xy");
        file.PacketOf(1, 3, "3/8 s").PacketOf(2, 1, "101 s");
        const Records records = {
            {.time = 0, .originalLength = 9, .interface = 0, .data = "abcd"},  // cut at the interface's snaplen
            {.time = 5000, .originalLength = 4, .interface = 0, .data = "five"},
            {.time = 4000, .originalLength = 0, .interface = 0, .data = ""},
            {.time = 4000, .originalLength = 2, .interface = 0, .data = "xy"},  // the time before its own
            {.time = 375'000'000, .originalLength = 5, .interface = 1, .data = "3/8 s"},
            {.time = 100 * kSecond + 1, .originalLength = 5, .interface = 2, .data = "101 s"}};
        const ReadCapture read = ReadWhole(file.Bytes());
        EXPECT_TRUE(read.Records() == records) << isBig << ProblemOf(read);
        EXPECT_TRUE(read.traits.snapLen == 4 && read.traits.isFinerThanMicroseconds);
    }
}

TEST(BlockReaderTest, LeavesOutOtherLinkTypesUnlessAllAreWanted) {
    PcapNgBuilder file = PcapNgBuilder::Empty().Section().Interface(1, 0).Interface(14, 0).Packet(1, "a");
    file.Interface(12, 0);  // behind the first record: raw IP too
    file.PacketOf(1, 2, "b").PacketOf(2, 3, "c").PacketOf(0, 4, "d");
    const ReadCapture one = ReadWhole(file.Bytes());
    EXPECT_EQ(one.Records().size(), 2U) << ProblemOf(one);
    EXPECT_TRUE(one.recordsRead == 4 && one.recordsLeftOut == 2 && one.traits.linkType == 1);
    const ReadCapture all = ReadWhole(file.Bytes(), {.keepsAllLinkTypes = true});
    ASSERT_EQ(all.Records().size(), 4U) << ProblemOf(all);
    EXPECT_EQ(all.interfaces, 3U);
    EXPECT_EQ(all.Records()[2].interface, 2U);
}

TEST(BlockReaderTest, BeginsItsInterfacesAnewInASection) {
    const PcapNgBuilder file = PcapNgBuilder().Packet(1, "a").Section(true);
    EXPECT_EQ(ReadWhole(PcapNgBuilder(file).Interface(1, 0).Packet(1, "b").Bytes()).Records().size(), 2U);
    for (const PcapNgBuilder& packet : {PcapNgBuilder(file).SimplePacket(0, ""), PcapNgBuilder(file).Packet(1, "")}) {
        EXPECT_TRUE(ProblemOf(ReadWhole(packet.Bytes())).ends_with("interface 0, which was never described"));
    }
}

TEST(BlockReaderTest, NotesWhatHasNoPlaceInARecord) {
    const PcapNgBuilder any;
    const std::string comment = any.Option(1, "words");
    const std::string overrunning = comment.substr(0, 2) + "\xFF\xFF" + comment.substr(4);
    const auto section = [](const std::string& options) { return PcapNgBuilder::Empty().Section(false, options); };
    const auto packet = [](const std::string& options) { return PcapNgBuilder().PacketOf(0, 1, "abc", options); };
    const auto extrasOf = [](const PcapNgBuilder& file) {
        const ReadCapture read = ReadWhole(file.Bytes());
        EXPECT_EQ(ProblemOf(read), "");
        return read.extras;
    };
    EXPECT_EQ(extrasOf(PcapNgBuilder().Block(4, "")), Extras{.nameBlocks = 1});
    EXPECT_EQ(extrasOf(PcapNgBuilder().Block(10, "").Block(10, "")), Extras{.secretBlocks = 2});
    EXPECT_EQ(extrasOf(PcapNgBuilder().Block(5, "12345678")), Extras{.otherBlocks = 1});
    EXPECT_EQ(extrasOf(section(any.Option(2, "box") + comment)), (Extras{.comments = 1, .otherOptions = 1}));
    EXPECT_EQ(extrasOf(section("").Interface(1, 0, comment)), Extras{.comments = 1});
    EXPECT_EQ(extrasOf(packet(comment + comment)), Extras{.comments = 2});
    EXPECT_EQ(extrasOf(packet(kEndOfOptions + comment)), Extras{});
    EXPECT_EQ(extrasOf(packet(overrunning)), Extras{});
}

TEST(BlockReaderTest, NamesThePlaceAndTheReasonOfDamageInPcapNg) {
    const std::string before = PcapNgBuilder().Packet(1, "abcd").Packet(2, "ef").Bytes();
    const std::string place = "2 records read, then at byte " + std::to_string(before.size()) + ": ";
    // What is told of the bytes behind two whole records; empty when it is no damage.
    const auto damage = [&](const std::string& bytes) {
        const ReadCapture read = ReadWhole(before + bytes, {.blockSize = 64}, 7);
        EXPECT_TRUE(!read.problem || (read.problem->kind == ProblemKind::kDamage && ProblemOf(read).starts_with(place)))
            << ProblemOf(read);
        return read.problem ? ProblemOf(read).substr(place.size()) : "";
    };
    const auto block = [](std::uint32_t type, std::uint32_t length, const std::string& body, std::uint32_t second) {
        return Number(type) + Number(length) + body + Number(second);
    };
    const auto sized = [&](std::uint32_t type, const std::string& body) {
        const auto length = static_cast<std::uint32_t>(12 + body.size());
        return block(type, length, body, length);
    };
    const auto packet = [](std::uint32_t interface, std::uint32_t captured) {
        return Number(interface) + Number(0) + Number(1) + Number(captured) + Number(0) + "datadata";
    };
    constexpr std::uint32_t kSection = 0x0A0D0D0A, kInterface = 1, kSimple = 3, kPacket = 6, kOther = 0xBAD;
    const std::string start = Number(0x1A2B3C4D) + Number(1) + "12345678";  // of a section
    const std::string differ = "the two lengths of a block differ";
    const std::string tooShort = "a packet's captured bytes do not fit into its block";
    const auto tooSmall = [](int length) { return "a block's length, " + std::to_string(length) + ", is too small"; };

    EXPECT_EQ(damage(block(kOther, 8, "", 8)), tooSmall(8));
    EXPECT_EQ(damage(sized(kOther, "xx")), "a block's length, 14, is no multiple of four");
    EXPECT_EQ(damage(block(kOther, 16, "xxxx", 20)), differ);
    EXPECT_EQ(damage(block(kOther, 0xFFFFFFFC, "xxxx", 16)), "the file ends inside a block");

    EXPECT_EQ(damage(sized(kSection, start.substr(0, 12))), tooSmall(24));
    EXPECT_EQ(damage(sized(kSection, "?" + start.substr(1))), "a section header tells no byte order");
    EXPECT_EQ(damage(block(kSection, 28, start, 32)), differ);

    EXPECT_EQ(damage(sized(kInterface, "1234")), tooSmall(16));
    EXPECT_EQ(damage(sized(kPacket, std::string(16, '\0'))), tooSmall(28));
    EXPECT_EQ(damage(sized(kPacket, packet(0, 8))), "");
    EXPECT_EQ(damage(sized(kPacket, packet(0, 9))), tooShort);
    EXPECT_EQ(damage(sized(kPacket, packet(1, 8))), "a packet of interface 1, which was never described");
    EXPECT_EQ(damage(block(kPacket, 257U << 20U, packet(0, 8), 0)), "a block claims 269484032 bytes");
    EXPECT_EQ(damage(sized(kSimple, Number(4) + "abcd")), "");
    EXPECT_EQ(damage(sized(kSimple, Number(5) + "abcd")), tooShort);
}

TEST(BlockReaderTest, NamesThePlaceInWhatIsUnpackedAndOfAFailedRead) {
    const std::string plain = CaptureBuilder().Record(1, 0, "abcd").Record(2, 0, "ef").Bytes().substr(0, 60);
    EXPECT_EQ(ProblemOf(ReadWhole(Gzip(plain) + "x")),
              "1 record read, then at byte 60: followed by bytes that are no further gzip member")
        << "not where the record begins";
    EXPECT_EQ(ProblemOf(ReadWhole(plain, {}, 1, EIO)), "1 record read, then at byte 44: Input/output error");
    EXPECT_EQ(ProblemOf(ReadWhole("", {}, 1, EIO)), "Input/output error");
}

TEST(BlockReaderTest, ReadsSectionsOfUpTo65536Interfaces) {
    PcapNgBuilder file;
    while (file.Bytes().size() < 28 + 32 + std::size_t{65535} * 20) {
        file.Interface(1, 0);
    }
    EXPECT_FALSE(ReadWhole(file.PacketOf(65535, 1, "x").Bytes()).problem);
    EXPECT_TRUE(ProblemOf(ReadWhole(file.Interface(1, 0).Bytes())).ends_with("65536 interfaces in a section"));
}

TEST(BlockReaderTest, SaysWhyAFileIsNoCapture) {
    const std::string classic = CaptureBuilder().Bytes();
    const std::pair<std::string, std::string> rows[] = {
        {Gzip(""), "it is empty"},
        {"abc", "it has 3 bytes, less than any capture"},
        {"abcdef", "it begins with 61 62 63 64, which is neither pcap nor pcap-ng"},
        {classic.substr(0, 23), "the file ends inside the file header"},
        {PcapNgBuilder().Bytes().substr(0, 27), "the file ends inside the section header"},
        {PcapNgBuilder::Empty().Section(false, "", 0).Bytes(), "a section of version 0, which is not known"},
        {Zstd(Gzip(classic)), "gzip inside zstd, and one level of compression is undone"},
    };
    for (const auto& [file, reason] : rows) {
        const ReadCapture read = ReadWhole(file);
        EXPECT_EQ(ProblemOf(read), "no capture: " + reason);
        EXPECT_TRUE(!read.isCapture && read.problem && read.problem->kind == ProblemKind::kNoCapture);
    }
}

// Four records in two members, of which the first ends behind the second record or inside the third.
TEST(BlockReaderTest, TellsWhichRecordsAWrongChecksumMakesDoubtful) {
    const std::string first = CaptureBuilder().Record(1, 0, "first").Record(2, 0, "second").Bytes();
    const std::string all = first + CaptureBuilder().Record(3, 0, "third").Record(4, 0, "fourth").Bytes().substr(24);
    const std::string bad = CaptureBuilder().Record(5, 0, 0xFFFFFFFF, 0, std::string(9999, 'x')).Bytes().substr(24);
    const auto problem = [](const std::string& right, const std::string& wrong) {
        std::string packed = Gzip(wrong);
        packed[packed.size() - 8] ^= 1;
        const std::string notRead = Gzip(CaptureBuilder().Record(9, 0, "not read").Bytes().substr(24));
        const ReadCapture read = ReadWhole((right.empty() ? "" : Gzip(right)) + packed + notRead, {.blockSize = 64}, 5);
        EXPECT_TRUE(read.problem && read.problem->kind == ProblemKind::kWrongChecksum && read.Records().size() == 4);
        return ProblemOf(read);
    };
    const std::string text = "wrong gzip checksum: 4 records kept, doubtful from record ";
    for (const std::size_t cut : {first.size(), first.size() + 3}) {
        EXPECT_EQ(problem(all.substr(0, cut), all.substr(cut)), text + "3 on");
        EXPECT_EQ(problem(all.substr(0, cut), all.substr(cut) + bad), text + "3 on");
    }
    EXPECT_EQ(problem("", all + bad), text + "1 on");
}

struct Sample {
    std::string bytes;
    std::vector<std::size_t> places;  // where its records and blocks end
};

// Captures with something of everything.
std::vector<Sample> Samples() {
    Sample classic, next;
    const auto note = [](Sample& sample, const auto& builder) {
        sample.bytes = builder.Bytes();
        sample.places.push_back(sample.bytes.size());
    };
    CaptureBuilder records = CaptureBuilder().BigEndian();
    PcapNgBuilder blocks = PcapNgBuilder::Empty();
    note(classic, records);
    note(next, blocks.Section(true, blocks.Option(1, "what a section says")));
    note(next, blocks.Interface(1, 65535));
    for (int record = 0; record < 9; ++record) {
        const std::string data(static_cast<std::size_t>(record * record), static_cast<char>('a' + record));
        note(classic, records.Record(record % 4, 7, data));
        note(next, blocks.Packet(static_cast<std::uint64_t>(record % 4), data));
    }
    note(next, blocks.SimplePacket(3, "abc"));
    note(next, blocks.Block(0xBAD, std::string(150, 'x')));
    note(next, blocks.Section(false));
    note(next, blocks.Interface(1, 0, blocks.Option(9, "\x09")));
    note(next, blocks.Packet(9, "last"));
    return {classic, next};
}

// That blocks and pieces of all sizes bring the same is for the replay of fuzz/exact_reader.cpp.
TEST(BlockReaderTest, KeepsWhatStandsBeforeEveryCut) {
    for (const auto& [bytes, places] : Samples()) {
        const Records all = ReadWhole(bytes).Records();
        for (const std::string& file : {bytes, Gzip(bytes), Bzip2(bytes), Xz(bytes), Zstd(bytes), Lz4(bytes)}) {
            std::size_t kept = 0;
            for (std::size_t size = 0; size < file.size(); ++size) {
                SCOPED_TRACE(testing::Message() << testing::PrintToString(file.substr(0, 4)) << ", cut to " << size);
                const ReadCapture read = ReadWhole(file.substr(0, size), {.blockSize = 64});
                const Records records = read.Records();
                kept = records.size();
                ASSERT_TRUE(kept <= all.size() && std::equal(records.begin(), records.end(), all.begin()));
                ASSERT_NE(read.problem.has_value(), file == bytes && std::ranges::count(places, size) > 0);
                if (!read.problem || !read.isCapture) {
                    continue;
                }
                // The first place that is not whole: of all those in front of the cut, the last.
                const std::size_t place = read.problem->offset;
                ASSERT_EQ(std::ranges::count(places, place), 1) << read.problem->text;
                ASSERT_EQ(ReadWhole(bytes.substr(0, place)).Records().size(), kept);
                ASSERT_TRUE(file != bytes || place == *std::prev(std::ranges::upper_bound(places, size)));
                ASSERT_EQ(read.problem->records, kept);
                ASSERT_NE(ProblemOf(read).find("then at byte " + std::to_string(place) + ": "), std::string::npos);
            }
            EXPECT_TRUE(kept > 0 || file.starts_with("BZh")) << "bzip2 gives whole blocks only";
        }
    }
}

TEST(BlockReaderTest, ListsTheRecordsOfABlockByTimeAndOfASpan) {
    CaptureBuilder file;
    for (const int second : {5, 3, 9, 3, 7, 1}) {
        file.Record(second, 0, "x");
    }
    const auto seconds = [&](const BlockReader::Options& options) {
        std::string list;
        for (const OwnedRecord& record : ReadWhole(file.Bytes(), options).Records()) {
            list += std::to_string(record.time / kSecond);
        }
        return list;
    };
    EXPECT_EQ(seconds({}), "539371");
    EXPECT_EQ(seconds({.ordersBlocks = true}), "133579");
    EXPECT_EQ(seconds({.blockSize = 75, .ordersBlocks = true}), "359137") << "three in a block";
    EXPECT_EQ(seconds({.earliest = 3 * kSecond}), "53937");
    EXPECT_EQ(seconds({.latest = 5 * kSecond}), "5331");
    EXPECT_EQ(seconds({.ordersBlocks = true, .earliest = 3 * kSecond, .latest = 5 * kSecond}), "335");
}

TEST(TickTimeTest, RoundsDownAndStopsAtTheEnds) {
    constexpr std::uint64_t kAll = ~std::uint64_t{0};
    EXPECT_EQ(TickTime(6).Nanoseconds(1, 0), 1000);
    EXPECT_EQ(TickTime(12).Nanoseconds(999, -1), -kSecond);
    EXPECT_EQ(TickTime(28).Nanoseconds(kAll, 0), 1);
    EXPECT_EQ(TickTime(29).Nanoseconds(kAll, 0), 0);
    EXPECT_EQ(TickTime(0x80 | 7).Nanoseconds(1, 0), 7'812'500);
    EXPECT_EQ(TickTime(0x80 | 10).Nanoseconds(1, 0), 976'562);
    EXPECT_EQ(TickTime(0x80 | 64).Nanoseconds(kAll, 0), kSecond - 1);
    EXPECT_EQ(TickTime(0).Nanoseconds(kAll, 0), kLatest);
    EXPECT_EQ(TickTime(6).Nanoseconds(kAll, kEarliest), kEarliest);
    EXPECT_EQ(TickTime(9).Nanoseconds(0, -9'223'372'036), -9'223'372'036 * kSecond);
    EXPECT_EQ(TickTime(9).Nanoseconds(0, -9'223'372'037), kEarliest);
}

TEST(TickTimeTest, KnowsWhatMicrosecondsDoNotHold) {
    EXPECT_FALSE(TickTime(6).IsFinerThanMicroseconds());
    EXPECT_TRUE(TickTime(7).IsFinerThanMicroseconds());
    EXPECT_FALSE(TickTime(0x80 | 6).IsFinerThanMicroseconds());
    EXPECT_TRUE(TickTime(0x80 | 7).IsFinerThanMicroseconds());
}

}  // namespace
}  // namespace velora::capture
