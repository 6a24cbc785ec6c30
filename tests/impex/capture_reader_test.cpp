#include <tuple>

#include <gtest/gtest.h>
#include <unistd.h>

#include "impex/impex_libpcap.h"
#include "tests/support/capture_builder.h"
#include "tests/support/file_trees.h"
#include "tests/support/log_text.h"

namespace {

const std::string kLittle = "INFO  Playing Little Endian (Most common type)  TCP Dump file";
const std::string kBig = "INFO  Playing Big Endian TCP Dump file";
const std::string kPcapNg = "INFO  Found a PCAP NG file - Switching IOWrap to PCAPNG";
const std::string kNoHeader = "ERROR Cant read pcap header";
const std::string kWarning = "WARN  Set position at 1st packet past file header";

CaptureBuilder Builder(bool isBigEndian) {
    return isBigEndian ? CaptureBuilder().BigEndian() : CaptureBuilder();
}

// The headers of the records that are left. Where none is, the arguments stay as they are.
std::vector<PacketHeader> ReadAll(CImpex_Libpcap& input) {
    PacketHeader keptHeader{};
    std::uint8_t keptByte = 0;
    for (std::vector<PacketHeader> headers;;) {
        PacketHeader* header = &keptHeader;
        std::uint8_t* data = &keptByte;
        if (!input.ReadNext(&header, &data)) {
            EXPECT_TRUE(header == &keptHeader && data == &keptByte);
            return headers;
        }
        const HeaderBlock ownedHeader(header);
        const DataBlock ownedData(data);
        headers.push_back(*header);
    }
}

// Opens a file of these bytes (none when it is called "missing...") and holds the log against `expected`: "@" in its
// last line stands for the path, "*" at the end for anything. The file is to be refused when that line is an error.
// Returns the link type.
std::int32_t Open(const std::string& file, const std::string& bytes, Lines expected) {
    const TempDir directory;
    if (!file.starts_with("missing")) {
        directory.Write(file, bytes);
    }
    const LogTail log;
    CImpex_Libpcap input;
    EXPECT_EQ(input.OpenInput(directory / file), !expected.back().starts_with("ERROR")) << file;
    std::string& last = expected.back();
    if (const std::size_t at = last.find('@'); at != std::string::npos) {
        last.replace(at, 1, directory / file);
    }
    Lines lines = log.Lines();
    if (last.ends_with('*') && !lines.empty()) {
        lines.back().resize(last.size() - 1);
        lines.back() += '*';
    }
    EXPECT_EQ(lines, expected) << file;
    return input.GetLinkType();
}

// Opens a capture that begins with this record, in both byte orders; `error` tells how it is refused, if at all.
void OpenBoth(std::uint32_t linkType, const ClassicFormat::RecordHeader& first, const std::string& error) {
    SCOPED_TRACE(testing::Message() << "link type " << linkType << ", record " << first.tsSec << "." << first.tsUsec
                                    << " " << first.inclLen << "/" << first.origLen);
    for (const bool isBig : {false, true}) {
        CaptureBuilder builder = Builder(isBig);
        builder.LinkType(linkType).Record(first.tsSec, first.tsUsec, first.inclLen, first.origLen, "");
        Lines log = {isBig ? kBig : kLittle};
        if (!error.empty()) {
            log.push_back("ERROR " + error);
        }
        EXPECT_EQ(Open("in", builder.Bytes(), log), static_cast<std::int32_t>(linkType));
    }
}

TEST(OpenInputTest, ChecksTheFirstRecord) {
    // Columns: seconds, microseconds, captured and original length; and the code of the refusal, 0 for none.
    const std::pair<ClassicFormat::RecordHeader, int> rows[] = {
        {{0, 0, 60, 60}, 0},         {{0, 0, 61, 60}, 1},         {{0, 0, ~0U, 60}, 1},
        {{0, 0, 96, 1514}, 0},       {{-1, 0, 60, 60}, 2},        {{INT32_MIN, 0, 60, 60}, 2},
        {{INT32_MAX, 0, 60, 60}, 0}, {{0, 1000000, 60, 60}, 0},   {{0, 1000001, 60, 60}, 2},
        {{0, -1, 60, 60}, 0},        {{0, 0, 65535, 65535}, 4},   {{0, 0, 65536, 65536}, 3},
        {{0, 0, 16383, 16383}, 0},   {{0, 0, 16384, 16384}, 4},   {{0, 0, 96, 16383}, 0},
        {{0, 0, 96, 16384}, 4},      {{0, 0, 96, 0x80000000}, 4}, {{0, 0, 0, 0}, 0},
        {{-1, 0, 61, 60}, 1},        {{-1, 0, 70000, 70000}, 2}};
    for (const auto& [first, code] : rows) {
        OpenBoth(1, first, code == 0 ? "" : "Corrupted PCAP file (Code " + std::to_string(code) + ")");
    }
}

TEST(OpenInputTest, AcceptsFiveLinkTypes) {
    for (const std::uint32_t type : {0U, 1U, 12U, 101U, 113U}) {
        OpenBoth(type, {}, "");
    }
    for (const std::uint32_t type :
         {2U, 11U, 13U, 100U, 102U, 105U, 112U, 114U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        const auto shown = std::to_string(static_cast<std::int32_t>(type));
        const ClassicFormat::RecordHeader corrupted{-1, 0, 61, 60};  // and not looked at
        OpenBoth(type, corrupted, "Unsupported link type found " + shown + " (must be ip,ethernet,linuxsll)");
    }
}

TEST(OpenInputTest, RecognisesFormatsByMagicAndStorageBySuffix) {
    const std::string classic = CaptureBuilder().Bytes();
    const std::string cantOpen = "ERROR Cant Open dump file @ error = ";
    const std::string badMagic = "ERROR Unrecognized PCAP file format, bad magic number 0x";
    const std::tuple<const char*, std::string, Lines> rows[] = {
        {"nanoseconds", "\x4D\x3C\xB2\xA1" + classic.substr(4), {badMagic + "a1b23c4d : @"}},
        {"23 bytes", classic.substr(0, 23), {kNoHeader}},
        {"next", PcapNgBuilder(105).Packet(1, "x").Bytes(), {kPcapNg}},
        {"no packets", PcapNgBuilder().Bytes(), {kPcapNg, kWarning}},
        {"plain.gz", classic, {kLittle}},
        {"a.GZ", Gzip(classic), {badMagic + "88b1f : @"}},
        {"a.bzip2", Bzip2(classic + "x"), {kLittle}},
        {"header only.bz2", Bzip2(classic), {kNoHeader}},
        {"a.bz", Bzip2(classic) + classic, {badMagic + "39685a42 : @"}},
        {"missing", "", {cantOpen + "No such file or directory"}},
        {"missing.gz", "", {cantOpen + "Success"}},
        {"missing.bz2", "", {cantOpen + "Success"}},
        // Compressed pcap-ng is recognised, but libpcap then opens the file itself.
        {"next.gz", Gzip(PcapNgBuilder().Bytes()), {kPcapNg, "ERROR Cant Open dump PCAP NG file @ error = *"}},
    };
    for (const auto& [file, bytes, log] : rows) {
        EXPECT_EQ(Open(file, bytes, log), 1);
    }
}

TEST(OpenInputTest, GivesUpAStreamThatWasNotClosed) {
    const TempDir directory;
    const std::string path = directory.Write("in", CaptureBuilder().Bytes());
    // A process of its own, which ends without a look for leaks: there is one, on purpose.
    EXPECT_EXIT(
        {
            const auto before = OpenDescriptors();
            CImpex_Libpcap input;
            const bool isOpen = input.OpenInput(path) && input.OpenInput(path);
            input.CloseInput();
            _exit(isOpen && OpenDescriptors() == before + 1 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST(ReadNextTest, TellsHowAnInputEnds) {
    const std::string first = CaptureBuilder().Record(1, 2, 5, 60, "first").Bytes();
    const std::string header = CaptureBuilder().Record(3, 4, 0, 0, "").Bytes().substr(24);
    const std::string claim = CaptureBuilder().Record(3, 4, 9, 9, "cut").Bytes().substr(24);
    const std::string hugeClaim = CaptureBuilder().Record(3, 4, ~0U, ~0U, "x").Bytes().substr(24);
    // zlib inflates 16384 bytes in one go: the first record, and the damage only with the second.
    std::string damaged = Gzip(CaptureBuilder().Record(1, 2, std::string(16384 - 24 - 16, 'x')).Bytes() + header);
    damaged[damaged.size() - 6] ^= 0x55;  // the checksum behind the data
    const std::string one = "INFO  Reached EOF for this IOW  pkts=1,bytes=5";
    const std::string three = "INFO  Reached EOF for this IOW  pkts=3,bytes=5";
    const std::string cut = "DEBUG Offline : Finished with current pcap file";
    const std::string error = "ERROR Error reading pcap payload   error = ";
    // Columns: what ends the input, its suffix and bytes, the records before, and how the line of log begins.
    const std::tuple<const char*, const char*, std::string, std::size_t, std::string> rows[] = {
        {"end of file", "a", first, 1, one},
        {"cut header", "a", first + header.substr(0, 15), 1, one},
        {"cut payload", "a", first + claim, 1, cut},
        {"claims 4 GiB, plain", "a", first + hugeClaim, 1, cut},
        {"claims 4 GiB, gzip", "a.gz", Gzip(first + hugeClaim), 1, error + "Success"},
        {"claims 4 GiB, bzip2", "a.bz2", Bzip2(first + hugeClaim), 1, error + "Unknown error -2"},
        {"no captured bytes, plain", "a", first + header + header, 1, error},
        {"no captured bytes, gzip", "a.gz", Gzip(first + header + header), 3, three},
        {"no captured bytes, bzip2", "a.bz2", Bzip2(first + header + header + "x"), 3, three},
        {"stream end with the payload", "a.bz2", Bzip2(first), 0, cut},
        {"stream end with a header", "a.bz2", Bzip2(first + header), 1, one},
        {"gzip cut in a payload", "a.gz", Gzip(first + claim), 1, cut},
        {"gzip damaged", "a.gz", damaged, 1, "ERROR Error reading pcap header  error = Success"},
    };
    for (const auto& [name, file, bytes, records, begin] : rows) {
        SCOPED_TRACE(name);
        const TempDir directory;
        CImpex_Libpcap input;
        EXPECT_TRUE(ReadAll(input).empty()) << "nothing was opened";
        ASSERT_TRUE(input.OpenInput(directory.Write(file, bytes)));
        const LogTail log;
        EXPECT_EQ(ReadAll(input).size(), records);
        ASSERT_EQ(log.Lines().size(), 1U);
        EXPECT_TRUE(log.Lines()[0].starts_with(begin)) << log.Lines()[0];
    }
}

TEST(ReadNextTest, LimitsOnlyTheFirstRecord) {
    const TempDir directory;
    const std::string data(65000, 'y');
    const std::string bytes = CaptureBuilder().Record(7, 1, "one").Record(-5, -6, 65000, 10, data).Bytes();
    CImpex_Libpcap input;
    ASSERT_TRUE(input.OpenInput(directory.Write("in", bytes)));
    const PacketHeader last = ReadAll(input).back();
    EXPECT_EQ(last.ts.tv_sec, -5) << "sign-extended";
    EXPECT_EQ(last.ts.tv_usec, -6);
    EXPECT_EQ(last.caplen, 65000U);
    EXPECT_EQ(last.len, 10U);
}

TEST(ReadRecordTimestampTest, ReadsOneHeaderAndNoPayload) {
    for (const bool isBig : {false, true}) {
        const TempDir directory;
        CaptureBuilder builder = Builder(isBig);
        // The payload of the first record looks like the header of another.
        builder.Record(0x11223344, 0x000A0B0C, 16, 16, "").Record(-2, -3, 0, 0, "");
        CImpex_Libpcap input;
        EXPECT_EQ(input.ReadRecordTimestamp(), ~std::uint64_t{0}) << "nothing was opened";
        ASSERT_TRUE(input.OpenInput(directory.Write("in", builder.Bytes())));
        EXPECT_EQ(input.ReadRecordTimestamp(), 0x000A0B0C'11223344U);
        EXPECT_EQ(input.ReadRecordTimestamp(), 0xFFFFFFFD'FFFFFFFEU);
        EXPECT_EQ(input.ReadRecordTimestamp(), ~std::uint64_t{0});
    }
}

}  // namespace
