// Every form of capture through the block reader: what is accepted and what is not, and where damage is said to be.

#include "velora/capture/block_reader.h"

#include <cerrno>
#include <map>
#include <set>

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
const std::string kEndOfOptions = PcapNgBuilder().Option(0, "");
const std::size_t kBlockSizes[] = {64, 100, 1U << 20U};

// A record but for its interface.
struct Seen {
    std::int64_t time;
    std::uint32_t originalLength;
    std::string data;
    bool operator==(const Seen&) const = default;
};

std::vector<Seen> SeenIn(const ReadCapture& read) {
    std::vector<Seen> seen;
    for (const OwnedRecord& record : read.Records()) {
        seen.push_back({.time = record.time, .originalLength = record.originalLength, .data = record.data});
    }
    return seen;
}

// What ended the capture; empty when all of it was read.
std::string ProblemOf(const ReadCapture& read) {
    return read.problem ? read.problem->text : "";
}

std::string Number(std::uint32_t value) {
    return PcapNgBuilder().Number(value);
}

TEST(BlockReaderTest, ReadsEveryFormOfClassicCapture) {
    const struct {
        const char* name;
        CaptureBuilder header;
        Format format;
        std::int64_t unit;
    } rows[] = {
        {.name = "micro", .header = CaptureBuilder(), .format = Format::kClassicMicroseconds, .unit = 1000},
        {.name = "nano", .header = CaptureBuilder().Nanoseconds(), .format = Format::kClassicNanoseconds, .unit = 1},
        {.name = "modified", .header = CaptureBuilder().Modified(), .format = Format::kClassicModified, .unit = 1000},
    };
    for (const auto& row : rows) {
        for (const bool isBig : {false, true}) {
            SCOPED_TRACE(row.name + std::string(isBig ? ", big-endian" : ""));
            CaptureBuilder file = CaptureBuilder(row.header).BigEndian(isBig).LinkType(0xF4000071).SnapLen(300000);
            file.Record(0, 0, "").Record(-1, 999999, 3, 1500, "abc").Record(7, 2000000001, "later");
            const ReadCapture read = ReadWhole(file.Bytes());
            const std::vector<Seen> seen = {
                {.time = 0, .originalLength = 0, .data = ""},
                {.time = 0xFFFFFFFF * kSecond + 999999 * row.unit, .originalLength = 1500, .data = "abc"},
                {.time = 7 * kSecond + 2000000001 * row.unit, .originalLength = 5, .data = "later"}};
            EXPECT_TRUE(SeenIn(read) == seen && read.stepsBack == 1) << ProblemOf(read);
            EXPECT_EQ(read.traits.format, row.format);
            EXPECT_EQ(read.traits.isFinerThanMicroseconds, row.unit == 1);
            EXPECT_TRUE(read.traits.linkType == 0x71 && read.traits.fcsBits == 0xF4000000);
            EXPECT_EQ(read.traits.snapLen, 300000U);
        }
    }
}

TEST(BlockReaderTest, TellsWhichLengthIsTheCapturedOneByTheVersion) {
    for (const bool isBig : {false, true}) {
        // The one of the two lengths in a record's header that is taken for that of its data.
        const auto captured = [&](std::uint16_t major, std::uint16_t minor, std::uint32_t first, std::uint32_t second) {
            CaptureBuilder file = CaptureBuilder().BigEndian(isBig).Version(major, minor);
            const OwnedRecord record = ReadWhole(file.Record(1, 0, first, second, "123456789").Bytes()).Records().at(0);
            EXPECT_EQ(record.data.size() + record.originalLength, first + second);
            return record.data.size();
        };
        EXPECT_EQ(captured(2, 2, 9, 4), 4U);
        EXPECT_EQ(captured(2, 2, 4, 9), 9U);
        EXPECT_EQ(captured(2, 3, 9, 4), 4U) << "the less";
        EXPECT_EQ(captured(2, 3, 4, 9), 4U) << "the less";
        EXPECT_EQ(captured(2, 3, 4, 4), 4U);
        EXPECT_EQ(captured(2, 4, 9, 4), 9U);
        EXPECT_EQ(captured(2, 4, 4, 9), 4U);
        EXPECT_EQ(captured(1, 2, 4, 9), 4U);
        EXPECT_EQ(captured(3, 0, 4, 9), 4U);
        EXPECT_EQ(captured(543, 0, 4, 9), 4U);
    }
}

// A length that may be makes the reader wait for the bytes, which do not come; another is refused. Neither takes room.
TEST(BlockReaderTest, BelievesLengthsUpToABound) {
    const auto isRefused = [](std::uint16_t linkType, std::uint32_t snapLen, std::uint32_t length) {
        int refused = 0;
        CaptureBuilder classic = CaptureBuilder().LinkType(linkType).SnapLen(snapLen);
        PcapNgBuilder next = PcapNgBuilder::Empty().Section().Interface(linkType, snapLen);
        next.Raw(Number(6) + Number(132 + kMost) + std::string(12, '\0') + Number(length) + Number(0));
        for (const std::string& file : {classic.Record(1, 2, length, 0, "cut").Bytes(), next.Bytes()}) {
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
    EXPECT_TRUE(isBound(1, kMost - 1, kMost - 1));
    EXPECT_TRUE(isBound(1, kMost + 1, kMost));
    EXPECT_TRUE(isBound(231, 0, kMost)) << "D-Bus";
    EXPECT_TRUE(isBound(249, 65535, kMost)) << "USB";
}

class PcapNgTest : public testing::TestWithParam<bool> {
 protected:
    // Of the order of the test's parameter.
    static PcapNgBuilder Section() { return PcapNgBuilder::Empty().Section(GetParam()); }
};

INSTANTIATE_TEST_SUITE_P(BothOrders, PcapNgTest, testing::Bool(),
                         [](const auto& row) { return row.param ? "Big" : "Little"; });

TEST_P(PcapNgTest, GivesEveryKindOfPacketATimeAndALength) {
    PcapNgBuilder file = Section().Block(0xBAD, "stepped over").Interface(1, 4);
    file.SimplePacket(9, "abcd").PacketOf(0, 5, "five").ObsoletePacket(0, 4, "").SimplePacket(2, "xy");
    const std::vector<Seen> seen = {{.time = 0, .originalLength = 9, .data = "abcd"},  // cut at the interface's snaplen
                                    {.time = 5000, .originalLength = 4, .data = "five"},
                                    {.time = 4000, .originalLength = 0, .data = ""},
                                    {.time = 4000, .originalLength = 2, .data = "xy"}};  // the time before its own
    const ReadCapture read = ReadWhole(file.Bytes());
    EXPECT_TRUE(SeenIn(read) == seen) << ProblemOf(read);
    EXPECT_EQ(read.traits.snapLen, 4U);
}

TEST_P(PcapNgTest, CountsTimesAsTheInterfaceSays) {
    PcapNgBuilder file = Section();
    const std::string offset(GetParam() ? "\0\0\0\0\0\0\0\x64" : "\x64\0\0\0\0\0\0\0", 8);
    file.Interface(1, 0, file.Option(9, "\x83"));
    file.Interface(1, 0, file.Option(9, "\x09") + file.Option(14, offset) + kEndOfOptions + file.Option(9, "\x03"));
    const ReadCapture read = ReadWhole(file.PacketOf(0, 3, "3/8 s").PacketOf(1, 1, "100 s and 1 ns").Bytes());
    ASSERT_EQ(read.Records().size(), 2U) << ProblemOf(read);
    EXPECT_EQ(read.Records()[0].time, 375'000'000);
    EXPECT_EQ(read.Records()[1].time, 100 * kSecond + 1);
    EXPECT_TRUE(read.traits.isFinerThanMicroseconds);
}

TEST_P(PcapNgTest, LeavesOutOtherLinkTypesUnlessAllAreWanted) {
    PcapNgBuilder file = Section().Interface(1, 0).Interface(14, 0).Packet(1, "a");
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

TEST_P(PcapNgTest, BeginsItsInterfacesAnewInASection) {
    PcapNgBuilder described = PcapNgBuilder().Packet(1, "a").Section(GetParam());
    EXPECT_EQ(ReadWhole(described.Interface(1, 0).Packet(1, "b").Bytes()).Records().size(), 2U);
    for (const PcapNgBuilder& before : {PcapNgBuilder::Empty(), PcapNgBuilder()}) {
        PcapNgBuilder file = PcapNgBuilder(before).Section(GetParam());
        for (const PcapNgBuilder& packet :
             {PcapNgBuilder(file).SimplePacket(0, ""), PcapNgBuilder(file).Packet(1, "")}) {
            EXPECT_TRUE(ProblemOf(ReadWhole(packet.Bytes())).ends_with("interface 0, which was never described"));
        }
    }
}

TEST(BlockReaderTest, NotesWhatHasNoPlaceInARecord) {
    const PcapNgBuilder any;
    const std::string comment = any.Option(1, "words");
    const std::string overrunning = comment.substr(0, 2) + "\xFF\xFF" + comment.substr(4);
    const auto section = [](const std::string& options) { return PcapNgBuilder::Empty().Section(false, options); };
    const auto packet = [](const std::string& options) { return PcapNgBuilder().PacketOf(0, 1, "abc", options); };
    const auto isNoted = [](const PcapNgBuilder& file) {
        const ReadCapture read = ReadWhole(file.Bytes());
        EXPECT_EQ(ProblemOf(read), "");
        return read.hasExtras;
    };
    EXPECT_TRUE(isNoted(PcapNgBuilder().Block(4, ""))) << "names";
    EXPECT_TRUE(isNoted(PcapNgBuilder().Block(10, ""))) << "secrets";
    EXPECT_FALSE(isNoted(PcapNgBuilder().Block(5, "12345678"))) << "statistics";
    EXPECT_TRUE(isNoted(section(any.Option(2, "box") + comment)));
    EXPECT_FALSE(isNoted(section(any.Option(2, "box") + kEndOfOptions)));
    EXPECT_TRUE(isNoted(section("").Interface(1, 0, comment)));
    EXPECT_TRUE(isNoted(packet(comment)));
    EXPECT_FALSE(isNoted(packet(any.Option(2, "abcd")))) << "flags";
    EXPECT_FALSE(isNoted(packet(kEndOfOptions + comment)));
    EXPECT_FALSE(isNoted(packet(overrunning)));
    EXPECT_FALSE(isNoted(section("").Interface(1, 0, overrunning)));
}

// What is told of `bytes` behind two whole records, however the file arrives; empty when it is no damage.
std::string DamageBehind(const std::string& before, const std::string& bytes) {
    std::set<std::string> told;
    for (const std::size_t blockSize : kBlockSizes) {
        const ReadCapture read = ReadWhole(before + bytes, {.blockSize = blockSize}, 7);
        EXPECT_GE(read.recordsRead, 2U);
        const std::string place = "2 records read, then at byte " + std::to_string(before.size()) + ": ";
        EXPECT_TRUE(!read.problem || (read.problem->kind == ProblemKind::kDamage && read.problem->records == 2 &&
                                      read.problem->offset == before.size() && ProblemOf(read).starts_with(place)))
            << ProblemOf(read);
        told.insert(read.problem ? ProblemOf(read).substr(place.size()) : "");
    }
    EXPECT_EQ(told.size(), 1U) << "the size of the blocks changes it";
    return *told.begin();
}

TEST(BlockReaderTest, NamesThePlaceAndTheReasonOfDamageInClassicCaptures) {
    const auto damage = [](const std::string& bytes) {
        return DamageBehind(CaptureBuilder().Record(1, 0, "abcd").Record(2, 0, "ef").Bytes(), bytes);
    };
    const auto record = [](std::uint32_t length, const char* data) {
        return CaptureBuilder().Record(3, 0, length, 4, data).Bytes().substr(24);
    };
    EXPECT_EQ(damage(record(4, "").substr(0, 15)), "the file ends inside a record");
    EXPECT_EQ(damage(record(4, "xyz")), "the file ends inside a record");
    EXPECT_EQ(damage(record(0, "")), "");
    EXPECT_EQ(damage(record(262145, "")), "a record claims 262145 bytes, where at most 262144 can be");
}

TEST(BlockReaderTest, NamesThePlaceAndTheReasonOfDamageInPcapNg) {
    const auto damage = [](const std::string& bytes) {
        return DamageBehind(PcapNgBuilder().Packet(1, "abcd").Packet(2, "ef").Bytes(), bytes);
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
    const std::string cut = "the file ends inside a block";
    const std::string differ = "the two lengths of a block differ";
    const std::string tooShort = "a packet's captured bytes do not fit into its block";
    const auto tooSmall = [](int length) { return "a block's length, " + std::to_string(length) + ", is too small"; };

    EXPECT_EQ(damage("1234567"), cut);
    EXPECT_EQ(damage(block(kOther, 8, "", 8)), tooSmall(8));
    EXPECT_EQ(damage(sized(kOther, "")), "");
    EXPECT_EQ(damage(sized(kOther, "xx")), "a block's length, 14, is no multiple of four");
    EXPECT_EQ(damage(block(kOther, 16, "xxxx", 20)), differ);
    EXPECT_EQ(damage(block(kOther, 0xFFFFFFFC, "xxxx", 16)), cut);

    EXPECT_EQ(damage(sized(kSection, start.substr(0, 12))), tooSmall(24));
    EXPECT_EQ(damage(sized(kSection, "?" + start.substr(1))), "a section header tells no byte order");
    EXPECT_EQ(damage(PcapNgBuilder::Empty().Section(true, "", 2).Bytes()),
              "a section of version 2, which is not known");
    EXPECT_EQ(damage(block(kSection, 32, start, 32)), cut);
    EXPECT_EQ(damage(block(kSection, 28, start, 32)), differ);

    EXPECT_EQ(damage(sized(kInterface, "1234")), tooSmall(16));
    EXPECT_EQ(damage(sized(kInterface, "12345678")), "");
    EXPECT_EQ(damage(sized(kPacket, std::string(16, '\0'))), tooSmall(28));
    EXPECT_EQ(damage(sized(kPacket, packet(0, 8))), "");
    EXPECT_EQ(damage(sized(kPacket, packet(0, 9))), tooShort);
    EXPECT_EQ(damage(sized(kPacket, packet(1, 8))), "a packet of interface 1, which was never described");
    EXPECT_EQ(damage(sized(kPacket, packet(0, 262145))), "a record claims 262145 bytes, where at most 262144 can be");
    EXPECT_EQ(damage(block(kPacket, 257U << 20U, packet(0, 8), 0)), "a block claims 269484032 bytes");
    EXPECT_EQ(damage(sized(kSimple, "")), tooSmall(12));
    EXPECT_EQ(damage(sized(kSimple, Number(4) + "abcd")), "");
    EXPECT_EQ(damage(sized(kSimple, Number(5) + "abcd")), tooShort);
}

TEST(BlockReaderTest, NamesThePlaceInWhatIsUnpackedOfDamageInWhatIsPacked) {
    const std::string plain = CaptureBuilder().Record(1, 0, "abcd").Record(2, 0, "ef").Bytes();
    const std::string start = "2 records read, then at byte 62: ";
    const std::string noMember = "followed by bytes that are no further gzip member";
    const std::string badBzip2 = "bad bzip2 data: invalid block or wrong checksum";
    EXPECT_EQ(ProblemOf(ReadWhole(Gzip(plain) + "x")), start + noMember);
    EXPECT_EQ(ProblemOf(ReadWhole(Gzip(plain) + std::string(700, '\0'))), "");
    EXPECT_EQ(ProblemOf(ReadWhole(Bzip2(plain) + "BZh9 no")), start + badBzip2);
    EXPECT_EQ(ProblemOf(ReadWhole(Xz(plain) + Xz("").substr(0, 20))), start + "the xz stream ends in its middle");
}

TEST(BlockReaderTest, ReadsSectionsOfUpTo65536Interfaces) {
    PcapNgBuilder file;
    while (file.Bytes().size() < 28 + 32 + std::size_t{65535} * 20) {
        file.Interface(1, 0);
    }
    EXPECT_FALSE(ReadWhole(file.PacketOf(65535, 1, "x").Bytes()).problem);
    const std::string reason = "more than 65536 interfaces in a section";
    EXPECT_TRUE(ProblemOf(ReadWhole(PcapNgBuilder(file).Interface(1, 0).Bytes())).ends_with(reason));
    EXPECT_FALSE(ReadWhole(file.Section().Interface(1, 0).Bytes()).problem) << "each section counts its own";
}

TEST(BlockReaderTest, SaysWhyAFileIsNoCapture) {
    const auto reason = [](const std::string& file) {
        const ReadCapture read = ReadWhole(file);
        EXPECT_TRUE(!read.isCapture && read.problem && read.problem->kind == ProblemKind::kNoCapture);
        EXPECT_TRUE(ProblemOf(read).starts_with("no capture: ")) << ProblemOf(read);
        return ProblemOf(read).substr(12);
    };
    const std::string classic = CaptureBuilder().Bytes();
    const std::string next = PcapNgBuilder::Empty().Section().Bytes();
    const std::string version0 = PcapNgBuilder::Empty().Section(false, "", 0).Bytes();
    EXPECT_EQ(reason(""), "it is empty");
    EXPECT_EQ(reason(Gzip("")), "it is empty");
    EXPECT_EQ(reason("abc"), "it has 3 bytes, less than any capture");
    EXPECT_EQ(reason("abcdef"), "it begins with 61 62 63 64, which is neither pcap nor pcap-ng");
    EXPECT_EQ(reason(classic.substr(0, 23)), "the file ends inside the file header");
    EXPECT_EQ(reason(next.substr(0, 27)), "the file ends inside the section header");
    EXPECT_EQ(reason(version0), "a section of version 0, which is not known");
    EXPECT_EQ(reason(Gzip(classic).substr(0, 15)), "the gzip stream ends in its middle");
    EXPECT_EQ(reason(Zstd(Gzip(classic))), "gzip inside zstd, and one level of compression is undone");
    EXPECT_EQ(reason("\x02\x21\x4C\x18...."),
              "it is in the legacy format of lz4");
    for (const std::string& file : {classic, next}) {
        EXPECT_TRUE(ReadWhole(file).isCapture && !ReadWhole(file).problem && !ReadWhole(file).traits.hasRecord);
    }
}

TEST(BlockReaderTest, SaysWhyTheFileCouldNotBeRead) {
    const std::string cut = CaptureBuilder().Record(1, 0, "x").Bytes() + "ab";
    EXPECT_EQ(ProblemOf(ReadWhole("", {}, 1, EIO)), "Input/output error");
    EXPECT_EQ(ProblemOf(ReadWhole(cut, {}, 1, EIO)), "1 record read, then at byte 41: Input/output error");
}

// Each file holds four records in two members, of which the first ends behind the second record or inside the third.
TEST(BlockReaderTest, TellsWhichRecordsAWrongChecksumMakesDoubtful) {
    const std::string first = CaptureBuilder().Record(1, 0, "first").Record(2, 0, "second").Bytes();
    const std::string all = first + CaptureBuilder().Record(3, 0, "third").Record(4, 0, "fourth").Bytes().substr(24);
    const std::string bad = CaptureBuilder().Record(5, 0, 0xFFFFFFFF, 0, std::string(9999, 'x')).Bytes().substr(24);
    const std::string notRead = Gzip(CaptureBuilder().Record(9, 0, "not read").Bytes().substr(24));
    const auto flipped = [](std::string member, std::size_t fromEnd) {
        member[member.size() - fromEnd] ^= 1;
        return member;
    };
    for (const std::size_t cut : {first.size(), first.size() + 3}) {
        const std::string one = all.substr(0, cut);
        const std::string two = all.substr(cut);
        const struct {
            const char* name;
            std::string file;
            char doubtful;
        } rows[] = {
            {.name = "gzip", .file = Gzip(one) + flipped(Gzip(two), 8) + notRead, .doubtful = '3'},
            {.name = "gzip", .file = Gzip(one) + flipped(Gzip(two + bad), 8) + notRead, .doubtful = '3'},
            {.name = "gzip", .file = flipped(Gzip(all + bad), 8) + notRead, .doubtful = '1'},
            {.name = "zstd", .file = Zstd(one) + flipped(Zstd(two), 1), .doubtful = '3'},
            {.name = "lz4", .file = Lz4(one) + flipped(Lz4(two), 2), .doubtful = '3'},
        };
        for (const auto& row : rows) {
            for (const std::size_t blockSize : kBlockSizes) {
                const ReadCapture read = ReadWhole(row.file, {.blockSize = blockSize}, 5);
                const std::string text = " checksum: 4 records kept, doubtful from record ";
                EXPECT_EQ(ProblemOf(read), "wrong " + std::string(row.name) + text + row.doubtful + " on");
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

// As it is, and in each compression.
std::map<std::string, std::string> Packed(const std::string& bytes) {
    return {{"plain", bytes},  {"gzip", Gzip(bytes)}, {"bzip2", Bzip2(bytes)},
            {"xz", Xz(bytes)}, {"zstd", Zstd(bytes)}, {"lz4", Lz4(bytes)}};
}

// That blocks and pieces of all sizes bring the same is for the replay of fuzz/exact_reader.cpp.
TEST(BlockReaderTest, KeepsWhatStandsBeforeEveryCut) {
    for (const Sample& sample : Samples()) {
        const std::vector<OwnedRecord> all = ReadWhole(sample.bytes).Records();
        for (const auto& [compression, file] : Packed(sample.bytes)) {
            std::size_t before = 0;
            for (std::size_t size = 0; size < file.size(); ++size) {
                SCOPED_TRACE(testing::Message() << sample.name << ", " << compression << ", cut to " << size);
                const ReadCapture read = ReadWhole(file.substr(0, size), {.blockSize = 64});
                const auto records = read.Records();
                ASSERT_TRUE(records.size() >= before && records.size() <= all.size());
                ASSERT_TRUE(std::ranges::equal(records, std::span(all).first(records.size())));
                before = records.size();
                const bool isBetween = file == sample.bytes && size > 0 && std::ranges::count(sample.places, size) > 0;
                ASSERT_EQ(read.problem.has_value(), !isBetween);
                if (!read.problem || !read.isCapture) {
                    continue;
                }
                // The first place that is not whole: of all those in front of the cut, the last.
                const std::size_t place = read.problem->offset;
                ASSERT_EQ(std::ranges::count(sample.places, place), 1) << read.problem->text;
                ASSERT_EQ(ReadWhole(sample.bytes.substr(0, place)).Records().size(), records.size());
                ASSERT_TRUE(file != sample.bytes || place == *std::prev(std::ranges::upper_bound(sample.places, size)));
                ASSERT_EQ(read.problem->records, records.size());
                const std::string count =
                    std::to_string(records.size()) + (records.size() == 1 ? " record" : " records");
                ASSERT_TRUE(ProblemOf(read).starts_with(count + " read, then at byte " + std::to_string(place) + ": "))
                    << ProblemOf(read);
            }
            EXPECT_TRUE(before > 0 || compression == "bzip2") << "bzip2 gives whole blocks only";
        }
    }
}

TEST(BlockReaderTest, ListsTheRecordsOfABlockByTimeAndOfASpan) {
    CaptureBuilder file;
    for (const int second : {5, 3, 9, 3, 7, 1}) {
        file.Record(second, 0, "x");
    }
    using Seconds = std::vector<std::int64_t>;
    const auto seconds = [&](const BlockReader::Options& options) {
        Seconds list;
        for (const OwnedRecord& record : ReadWhole(file.Bytes(), options).Records()) {
            list.push_back(record.time / kSecond);
        }
        return list;
    };
    EXPECT_EQ(seconds({}), (Seconds{5, 3, 9, 3, 7, 1}));
    EXPECT_EQ(seconds({.ordersBlocks = true}), (Seconds{1, 3, 3, 5, 7, 9}));
    EXPECT_EQ(seconds({.blockSize = 75, .ordersBlocks = true}), (Seconds{3, 5, 9, 1, 3, 7})) << "three in a block";
    EXPECT_EQ(seconds({.earliest = 3 * kSecond, .latest = 5 * kSecond}), (Seconds{5, 3, 3}));
    EXPECT_EQ(seconds({.ordersBlocks = true, .earliest = 3 * kSecond, .latest = 5 * kSecond}), (Seconds{3, 3, 5}));
    EXPECT_EQ(seconds({.earliest = 10 * kSecond}), Seconds{});
}

TEST(TickTimeTest, RoundsDownAndStopsAtTheEnds) {
    constexpr std::uint64_t kAll = ~std::uint64_t{0};
    constexpr std::uint8_t kBinary = 0x80;
    EXPECT_EQ(TickTime(6).Nanoseconds(1, 0), 1000);
    EXPECT_EQ(TickTime(9).Nanoseconds(1, 0), 1);
    EXPECT_EQ(TickTime(10).Nanoseconds(19, 0), 1);
    EXPECT_EQ(TickTime(12).Nanoseconds(999, -1), -kSecond);
    EXPECT_EQ(TickTime(28).Nanoseconds(kAll, 0), 1);
    EXPECT_EQ(TickTime(29).Nanoseconds(kAll, 0), 0);
    EXPECT_EQ(TickTime(kBinary).Nanoseconds(3, 0), 3 * kSecond);
    EXPECT_EQ(TickTime(kBinary | 7).Nanoseconds(1, 0), 7'812'500);
    EXPECT_EQ(TickTime(kBinary | 10).Nanoseconds(1, 0), 976'562);
    EXPECT_EQ(TickTime(kBinary | 32).Nanoseconds(std::uint64_t{3} << 31U, 0), kSecond * 3 / 2);
    EXPECT_EQ(TickTime(kBinary | 64).Nanoseconds(kAll, 0), kSecond - 1);
    EXPECT_EQ(TickTime(kBinary | 127).Nanoseconds(kAll, 0), 0);
    EXPECT_EQ(TickTime(6).Nanoseconds(5, 100), 100 * kSecond + 5000);
    EXPECT_EQ(TickTime(0).Nanoseconds(kAll, 0), kLatest);
    EXPECT_EQ(TickTime(9).Nanoseconds(kAll >> 1U, 0), kLatest);
    EXPECT_EQ(TickTime(6).Nanoseconds(0, kLatest), kLatest);
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
