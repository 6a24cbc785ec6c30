#include <filesystem>
#include <set>
#include <tuple>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "impex/impex_libpcap.h"
#include "tests/support/capture_builder.h"
#include "tests/support/log_text.h"
#include "tests/support/temp_dir.h"

// There in builds with the address sanitizer.
extern "C" void __lsan_disable() __attribute__((weak));
extern "C" void __lsan_enable() __attribute__((weak));

namespace {

const std::string kLittle = "INFO  Playing Little Endian (Most common type)  TCP Dump file";
const std::string kBig = "INFO  Playing Big Endian TCP Dump file";
const std::string kPcapNg = "INFO  Found a PCAP NG file - Switching IOWrap to PCAPNG";
const std::string kNoHeader = "ERROR Cant read pcap header";
const std::string kWarning = "WARN  Set position at 1st packet past file header";

// The headers of the records that are left.
std::vector<PacketHeader> ReadAll(CImpex_Libpcap& input) {
    std::vector<PacketHeader> headers;
    PacketHeader* header = nullptr;
    std::uint8_t* data = nullptr;
    while (input.ReadNext(&header, &data)) {
        const HeaderBlock ownedHeader(header);
        const DataBlock ownedData(data);
        headers.push_back(*header);
    }
    return headers;
}

// Opens a file of these bytes and holds the log against `expected`, in which "@" stands for the path: the
// file is to be refused when the last line is an error. Returns the link type.
std::int32_t Open(const std::string& file, const std::string& bytes, std::vector<std::string> expected) {
    const TempDir directory;
    const std::string path = directory.Write(file, bytes);
    const LogTail log;
    CImpex_Libpcap input;
    EXPECT_EQ(input.OpenInput(path), !expected.back().starts_with("ERROR")) << file;
    if (expected.back().ends_with("@")) {
        expected.back().replace(expected.back().size() - 1, 1, path);
    }
    EXPECT_EQ(log.Lines(), expected) << file;
    return input.GetLinkType();
}

TEST(OpenInputTest, ChecksTheFirstRecord) {
    struct Row {
        std::int32_t sec;
        std::int32_t usec;
        std::uint32_t inclLen;
        std::uint32_t origLen;
        int code;  // 0: accepted
    };
    const Row rows[] = {
        {0, 0, 60, 60, 0},         {0, 0, 61, 60, 1},         {0, 0, ~0U, 60, 1},        {0, 0, 96, 1514, 0},
        {-1, 0, 60, 60, 2},        {INT32_MIN, 0, 60, 60, 2}, {INT32_MAX, 0, 60, 60, 0}, {0, 1000000, 60, 60, 0},
        {0, 1000001, 60, 60, 2},   {0, -1, 60, 60, 0},        {0, 0, 65535, 65535, 4},   {0, 0, 65536, 65536, 3},
        {0, 0, 16383, 16383, 0},   {0, 0, 16384, 16384, 4},   {0, 0, 96, 16383, 0},      {0, 0, 96, 16384, 4},
        {0, 0, 96, 0x80000000, 4}, {0, 0, 0, 0, 0},           {-1, 0, 61, 60, 1},        {-1, 0, 70000, 70000, 2}};
    for (const Row& row : rows) {
        const auto bytes = [&row](CaptureBuilder builder) {
            return builder.Record(row.sec, row.usec, row.inclLen, row.origLen, "").Bytes();
        };
        std::vector<std::string> refusal;
        if (row.code != 0) {
            refusal = {"ERROR Corrupted PCAP file (Code " + std::to_string(row.code) + ")"};
        }
        SCOPED_TRACE(testing::Message() << row.sec << "." << row.usec << " " << row.inclLen << "/" << row.origLen);
        for (const bool swap : {false, true}) {
            std::vector<std::string> log = {swap ? kBig : kLittle};
            log.insert(log.end(), refusal.begin(), refusal.end());
            Open("in", bytes(swap ? CaptureBuilder().BigEndian() : CaptureBuilder()), log);
        }
    }
}

TEST(OpenInputTest, AcceptsFiveLinkTypes) {
    const std::set<std::uint32_t> accepted = {0, 1, 12, 101, 113};
    for (const std::uint32_t type :
         {0U, 1U, 2U, 11U, 12U, 13U, 100U, 101U, 102U, 105U, 112U, 113U, 114U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        const auto shown = static_cast<std::int32_t>(type);
        std::vector<std::string> log = {kBig};
        if (!accepted.contains(type)) {
            log.push_back("ERROR Unsupported link type found " + std::to_string(shown) +
                          " (must be ip,ethernet,linuxsll)");
        }
        EXPECT_EQ(Open("in", CaptureBuilder().BigEndian().LinkType(type).Bytes(), log), shown);
        log[0] = kLittle;
        EXPECT_EQ(Open("in", CaptureBuilder().LinkType(type).Bytes(), log), shown);
    }
}

TEST(OpenInputTest, RecognisesFormatsByMagicAndStorageBySuffix) {
    const std::string classic = CaptureBuilder().Bytes();
    const std::string badMagic = "ERROR Unrecognized PCAP file format, bad magic number 0x";
    const std::tuple<const char*, std::string, std::vector<std::string>> rows[] = {
        {"nanoseconds", CaptureBuilder().Magic(0xA1B23C4D).Bytes(), {badMagic + "a1b23c4d : @"}},
        {"text", "#!/bin/sh and some more text", {badMagic + "622f2123 : @"}},
        {"23 bytes", classic.substr(0, 23), {kNoHeader}},
        {"empty", "", {kNoHeader}},
        {"next", PcapNgBuilder(105).Packet(1, "x").Bytes(), {kPcapNg}},
        {"no packets", PcapNgBuilder().Bytes(), {kPcapNg, kWarning}},
        {"a.gz", Gzip(classic), {kLittle}},
        {"plain.gz", classic, {kLittle}},
        {"a.GZ", Gzip(classic), {badMagic + "88b1f : @"}},
        {"a.bz2", Bzip2(classic + "x"), {kLittle}},
        {"a.bzip2", Bzip2(classic + "x"), {kLittle}},
        {"header only.bz2", Bzip2(classic), {kNoHeader}},
        {"plain.bz2", classic, {kNoHeader}},
        {"a.bz", Bzip2(classic) + classic, {badMagic + "39685a42 : @"}},
    };
    for (const auto& [file, bytes, log] : rows) {
        EXPECT_EQ(Open(file, bytes, log), 1);
    }
}

// A suffix counts only behind something: a name that is nothing but the suffix is a plain file.
TEST(OpenInputTest, TakesABareSuffixForAName) {
    const TempDir directory;
    const int home = open(".", O_RDONLY);
    ASSERT_EQ(chdir(directory.Path().c_str()), 0);
    const std::string classic = CaptureBuilder().Bytes();
    for (const char* const name : {".gz", ".bz2", ".bzip2"}) {
        directory.Write(name, std::string(name) == ".gz" ? Gzip(classic) : Bzip2(classic + "x"));
        const LogTail log;
        CImpex_Libpcap input;
        EXPECT_FALSE(input.OpenInput(name));
        EXPECT_TRUE(log.Lines()[0].starts_with("ERROR Unrecognized PCAP file format")) << name;
    }
    ASSERT_EQ(fchdir(home), 0);
    close(home);
}

TEST(OpenInputTest, NamesWhatCannotBeOpened) {
    const TempDir directory;
    const std::pair<const char*, const char*> rows[] = {
        {"a.pcap", "No such file or directory"}, {"a.pcap.gz", "Success"}, {"a.pcap.bz2", "Success"}};
    for (const auto& [name, error] : rows) {
        const LogTail log;
        EXPECT_FALSE(CImpex_Libpcap().OpenInput(directory.Path(name)));
        EXPECT_EQ(log.Lines(), (std::vector<std::string>{"ERROR Cant Open dump file " + directory.Path(name) +
                                                         " error = " + error}));
    }
    // Compressed pcap-ng is recognised, but libpcap then opens the file itself.
    const std::string path = directory.Write("a.gz", Gzip(PcapNgBuilder().Packet(1, "x").Bytes()));
    const LogTail log;
    EXPECT_FALSE(CImpex_Libpcap().OpenInput(path));
    ASSERT_EQ(log.Lines().size(), 2U);
    EXPECT_EQ(log.Lines()[0], kPcapNg);
    EXPECT_TRUE(log.Lines()[1].starts_with("ERROR Cant Open dump PCAP NG file " + path + " error = "));
}

TEST(OpenInputTest, GivesUpAStreamThatWasNotClosed) {
    const TempDir directory;
    const std::string path = directory.Write("in", CaptureBuilder().Bytes());
    const auto descriptors = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); };
    const auto before = descriptors();
    CImpex_Libpcap input;
    if (__lsan_disable != nullptr) {
        __lsan_disable();  // what the next line allocates is lost on purpose
    }
    EXPECT_TRUE(input.OpenInput(path));
    if (__lsan_enable != nullptr) {
        __lsan_enable();
    }
    EXPECT_TRUE(input.OpenInput(path));
    input.CloseInput();
    EXPECT_EQ(descriptors(), before + 1);
}

TEST(ReadNextTest, TellsHowAnInputEnds) {
    const std::string first = CaptureBuilder().Record(1, 2, "first").Bytes();
    const std::string header = CaptureBuilder().Record(3, 4, 0, 0, "").Bytes().substr(24);
    const std::string claim = CaptureBuilder().Record(3, 4, 9, 9, "cut").Bytes().substr(24);
    const std::string hugeClaim = CaptureBuilder().Record(3, 4, ~0U, ~0U, "x").Bytes().substr(24);
    const std::string clean = "INFO  Reached EOF for this IOW  pkts=1,bytes=5";
    const std::string cut = "DEBUG Offline : Finished with current pcap file";
    struct Row {
        const char* name;
        const char* file;
        std::string bytes;
        std::size_t records;
        std::string log;  // how the last line begins
    };
    const Row rows[] = {
        {"whole", "a", first, 1, clean},
        {"cut header", "a", first + header.substr(0, 15), 1, clean},
        {"cut payload", "a", first + claim, 1, cut},
        {"no captured bytes, plain", "a", first + header + header, 1, "ERROR Error reading pcap payload   error = "},
        {"no captured bytes, gzip", "a.gz", Gzip(first + header + header), 3,
         "INFO  Reached EOF for this IOW  pkts=3,bytes=5"},
        {"no captured bytes, bzip2", "a.bz2", Bzip2(first + header + header + "x"), 3,
         "INFO  Reached EOF for this IOW  pkts=3,bytes=5"},
        {"stream end with the payload", "a.bz2", Bzip2(first), 0, cut},
        {"stream end with a header", "a.bz2", Bzip2(first + header), 1, clean},
        {"gzip cut in a payload", "a.gz", Gzip(first + claim), 1, cut},
        {"claims 4 GiB, gzip", "a.gz", Gzip(first + hugeClaim), 1,
         "ERROR Error reading pcap payload   error = Success"},
        {"claims 4 GiB, bzip2", "a.bz2", Bzip2(first + hugeClaim), 1,
         "ERROR Error reading pcap payload   error = Unknown error -2"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const TempDir directory;
        CImpex_Libpcap input;
        ASSERT_TRUE(input.OpenInput(directory.Write(row.file, row.bytes)));
        const LogTail log;
        EXPECT_EQ(ReadAll(input).size(), row.records);
        ASSERT_EQ(log.Lines().size(), 1U);
        EXPECT_EQ(log.Lines()[0].substr(0, row.log.size()), row.log);
    }
}

// What later records hold is taken as it is; every form is held against a model in algorithms_test.cpp.
TEST(ReadNextTest, LimitsOnlyTheFirstRecordAndCounts) {
    const TempDir directory;
    CaptureBuilder builder;
    builder.BigEndian().Record(7, 1, 3, 60, "one").Record(-5, 2000000, 65000, 10, std::string(65000, 'y'));
    CImpex_Libpcap input;
    ASSERT_TRUE(input.OpenInput(directory.Write("in", builder.Bytes())));
    const auto headers = ReadAll(input);
    ASSERT_EQ(headers.size(), 2U);
    EXPECT_EQ(headers[0].caplen, 3U);
    EXPECT_EQ(headers[0].len, 60U);
    EXPECT_EQ(headers[1].ts.tv_sec, -5) << "sign-extended";
    input.CloseInput();
    input.CloseInput();
    EXPECT_EQ(input.m_Packets, 2U);
    EXPECT_EQ(input.m_Bytes, 65003U);
}

TEST(ReadNextTest, LeavesItsArgumentsAloneWithoutARecord) {
    PacketHeader header{};
    std::uint8_t byte = 0;
    PacketHeader* pHeader = &header;
    std::uint8_t* pData = &byte;
    const TempDir directory;
    CImpex_Libpcap input;
    EXPECT_FALSE(input.ReadNext(&pHeader, &pData)) << "nothing was opened";
    EXPECT_EQ(input.ReadRecordTimestamp(), ~std::uint64_t{0});
    ASSERT_TRUE(input.OpenInput(directory.Write("in", CaptureBuilder().Bytes())));
    EXPECT_FALSE(input.ReadNext(&pHeader, &pData));
    EXPECT_EQ(pHeader, &header);
    EXPECT_EQ(pData, &byte);
}

TEST(ReadRecordTimestampTest, ReadsOneHeaderAndNoPayload) {
    for (const bool bigEndian : {false, true}) {
        const TempDir directory;
        CaptureBuilder builder;
        // The payload of the first record looks like the header of another.
        (bigEndian ? builder.BigEndian() : builder).Record(0x11223344, 0x000A0B0C, 16, 16, "").Record(-2, -3, 0, 0, "");
        CImpex_Libpcap input;
        ASSERT_TRUE(input.OpenInput(directory.Write("in", builder.Bytes())));
        EXPECT_EQ(input.ReadRecordTimestamp(), 0x000A0B0C'11223344U);
        EXPECT_EQ(input.ReadRecordTimestamp(), 0xFFFFFFFD'FFFFFFFEU);
        EXPECT_EQ(input.ReadRecordTimestamp(), ~std::uint64_t{0});
    }
}

}  // namespace
