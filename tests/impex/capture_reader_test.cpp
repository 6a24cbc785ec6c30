#include <tuple>

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/capture_builder.h"
#include "tests/support/file_trees.h"
#include "tests/support/log_text.h"
#include "velora/impex/impex_libpcap.h"

namespace {

const std::string kLittle = "INFO  Playing Little Endian (Most common type)  TCP Dump file";
const std::string kBig = "INFO  Playing Big Endian TCP Dump file";
const std::string kPcapNg = "INFO  Found a PCAP NG file - Switching IOWrap to PCAPNG";
const std::string kCut = "DEBUG Offline : Finished with current pcap file";

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
        const velora::impex::HeaderBlock ownedHeader(header);
        const velora::impex::DataBlock ownedData(data);
        headers.push_back(*header);
    }
}

// Opens a file of these bytes (none when it is called "missing...") and, unless it is refused, reads it to its end.
// In the last line of the log that is expected, "@" stands for the path, and "*" at the end for anything.
void CheckInput(const std::string& file, const std::string& bytes, std::size_t records, Lines expected,
                std::uint32_t linkType = 1) {
    const TempDir directory;
    const std::string path = file.starts_with("missing") ? directory / file : directory.Write(file, bytes);
    const LogTail log;
    CImpex_Libpcap input;
    EXPECT_EQ(input.OpenInput(path) ? ReadAll(input).size() : 0, records);
    std::string& last = expected.back();
    if (const std::size_t at = last.find('@'); at != std::string::npos) {
        last.replace(at, 1, path);
    }
    Lines lines = log.Lines();
    if (last.ends_with('*') && !lines.empty()) {
        lines.back().replace(last.size() - 1, std::string::npos, "*");
    }
    EXPECT_EQ(lines, expected);
    EXPECT_EQ(input.GetLinkType(), static_cast<std::int32_t>(linkType));
}

// Cuts a capture of either byte order behind the header of its first record. `refusal` is what is logged of it, if
// it is not taken for one that can be read.
void CheckFirst(std::uint32_t linkType, const velora::formats::classic::RecordHeader& first,
                const std::string& refusal) {
    SCOPED_TRACE(testing::Message() << "link type " << linkType << ", record " << first.tsSec << "." << first.tsUsec
                                    << " " << first.inclLen << "/" << first.origLen);
    for (const bool isBig : {false, true}) {
        CaptureBuilder builder = CaptureBuilder().BigEndian(isBig).LinkType(linkType);
        builder.Record(first.tsSec, first.tsUsec, first.inclLen, first.origLen, "");
        const Lines log = {isBig ? kBig : kLittle, refusal.empty() ? kCut : "ERROR " + refusal};
        CheckInput("in", builder.Bytes(), 0, log, linkType);
    }
}

TEST(OpenInputTest, ChecksTheFirstRecord) {
    // Columns: seconds, microseconds, captured and original length; and the code of the refusal, 0 for none.
    const std::pair<velora::formats::classic::RecordHeader, int> rows[] = {
        {{0, 0, 60, 60}, 0},       {{0, 0, 61, 60}, 1},         {{0, 0, ~0U, 60}, 1},      {{0, 0, 96, 1514}, 0},
        {{-1, 0, 60, 60}, 2},      {{INT32_MIN, 0, 60, 60}, 2}, {{INT32_MAX, 0, 1, 1}, 0}, {{0, 1000000, 60, 60}, 0},
        {{0, 1000001, 60, 60}, 2}, {{0, -1, 60, 60}, 0},        {{0, 0, 65535, 65535}, 4}, {{0, 0, 65536, 65536}, 3},
        {{0, 0, 16383, 16383}, 0}, {{0, 0, 16384, 16384}, 4},   {{0, 0, 96, 16383}, 0},    {{0, 0, 96, 16384}, 4},
        {{-1, 0, 61, 60}, 1},      {{0, 0, 96, 0x80000000}, 4}, {{-1, 0, 65536, 65536}, 2}};
    for (const auto& [first, code] : rows) {
        CheckFirst(1, first, code == 0 ? "" : "Corrupted PCAP file (Code " + std::to_string(code) + ")");
    }
}

TEST(OpenInputTest, AcceptsFiveLinkTypes) {
    for (const std::uint32_t type : {0U, 1U, 12U, 101U, 113U}) {
        CheckFirst(type, {0, 0, 60, 60}, "");
    }
    for (const std::uint32_t type :
         {2U, 11U, 13U, 100U, 102U, 105U, 112U, 114U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        const std::string shown = std::to_string(static_cast<std::int32_t>(type));
        const velora::formats::classic::RecordHeader corrupted{-1, 0, 61, 60};  // and not looked at
        CheckFirst(type, corrupted, "Unsupported link type found " + shown + " (must be ip,ethernet,linuxsll)");
    }
}

// Formats are told by the magic number, storage by the suffix.
TEST(OpenInputTest, TellsOfEachInputToItsEnd) {
    const std::string empty = CaptureBuilder().Bytes();
    const std::string first = CaptureBuilder().Record(1, 2, 5, 60, "first").Bytes();
    const std::string header = CaptureBuilder().Record(3, 4, 0, 0, "").Bytes().substr(24);
    const std::string claim = CaptureBuilder().Record(3, 4, 9, 9, "cut").Bytes().substr(24);
    const std::string hugeClaim = CaptureBuilder().Record(3, 4, ~0U, ~0U, "x").Bytes().substr(24);
    // zlib inflates 16384 bytes in one go: the first record, and the damage only with the second.
    std::string damaged = Gzip(CaptureBuilder().Record(1, 2, std::string(16384 - 24 - 16, 'x')).Bytes() + header);
    damaged[damaged.size() - 6] ^= 0x55;  // the checksum behind the data
    const std::string cantOpen = "ERROR Cant Open dump file @ error = ";
    const std::string badMagic = "ERROR Unrecognized PCAP file format, bad magic number 0x";
    const std::string noHeader = "ERROR Cant read pcap header";
    const std::string end = "INFO  Reached EOF for this IOW  ";
    const std::string error = "ERROR Error reading pcap payload   error = ";
    // Columns: file, bytes, the records in it, and what is logged.
    const std::tuple<const char*, std::string, std::size_t, Lines> rows[] = {
        {"missing", "", 0, {cantOpen + "No such file or directory"}},
        {"missing.gz", "", 0, {cantOpen + "Success"}},
        {"missing.bz2", "", 0, {cantOpen + "Success"}},
        {"23 bytes", empty.substr(0, 23), 0, {noHeader}},
        {"nanoseconds", "\x4D\x3C\xB2\xA1" + empty.substr(4), 0, {badMagic + "a1b23c4d : @"}},
        {"in.GZ", Gzip(first), 0, {badMagic + "88b1f : @"}},
        {"in.bz", Bzip2(first) + first, 0, {badMagic + "39685a42 : @"}},
        {"header only", empty, 0, {kLittle, end + "pkts=0,bytes=0"}},
        {"header only.bz2", Bzip2(empty), 0, {noHeader}},
        {"stream ends with a header.bzip2", Bzip2(first + header), 1, {kLittle, end + "pkts=1,bytes=5"}},
        {"stream ends with a payload.bz2", Bzip2(first), 0, {kLittle, kCut}},
        {"two streams.bz2", Bzip2(first + header) + Bzip2(header), 1, {kLittle, end + "pkts=1,bytes=5"}},
        {"cut header", first + header.substr(0, 15), 1, {kLittle, end + "pkts=1,bytes=5"}},
        {"cut payload", first + claim, 1, {kLittle, kCut}},
        {"cut payload.gz", Gzip(first + claim), 1, {kLittle, kCut}},
        {"not compressed.gz", first + claim, 1, {kLittle, kCut}},
        {"damaged.gz", damaged, 1, {kLittle, "ERROR Error reading pcap header  error = Success"}},
        {"claims 4 GiB", first + hugeClaim, 1, {kLittle, kCut}},
        {"claims 4 GiB.gz", Gzip(first + hugeClaim), 1, {kLittle, error + "Success"}},
        {"claims 4 GiB.bz2", Bzip2(first + hugeClaim), 1, {kLittle, error + "Unknown error -2"}},
        {"no data", first + header + header, 1, {kLittle, error + "*"}},
        {"no data.gz", Gzip(first + header + header), 3, {kLittle, end + "pkts=3,bytes=5"}},
        {"no data.bz2", Bzip2(first + header + header + "x"), 3, {kLittle, end + "pkts=3,bytes=5"}},
        {"next", PcapNgBuilder(105).Packet(1, "x").Bytes(), 1, {kPcapNg, end + "pkts=1,bytes=1"}},
        {"no packets",
         PcapNgBuilder().Bytes(),
         0,
         {kPcapNg, "WARN  Set position at 1st packet past file header", end + "pkts=0,bytes=0"}},
        // Compressed pcap-ng is recognised, but libpcap then opens the file itself.
        {"next.gz", Gzip(PcapNgBuilder().Bytes()), 0, {kPcapNg, "ERROR Cant Open dump PCAP NG file @ error = *"}},
    };
    for (const auto& [file, bytes, records, log] : rows) {
        SCOPED_TRACE(file);
        CheckInput(file, bytes, records, log);
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

TEST(ReadNextTest, LimitsOnlyTheFirstRecord) {
    const TempDir directory;
    const std::string data(65000, 'y');
    const std::string bytes = CaptureBuilder().Record(7, 1, "one").Record(-5, -6, 65000, 10, data).Bytes();
    CImpex_Libpcap input;
    EXPECT_TRUE(ReadAll(input).empty()) << "nothing was opened";
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
        CaptureBuilder builder = CaptureBuilder().BigEndian(isBig);
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
