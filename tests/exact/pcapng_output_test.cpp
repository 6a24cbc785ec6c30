// What becomes of interfaces on the way from one format to another.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/capture_builder.h"
#include "tests/support/temp_dir.h"
#include "velora/capture/capture_reader.h"
#include "velora/exact/run.h"

namespace velora::exact {
namespace {

constexpr std::uint16_t kInterfaceName = 2;
constexpr std::uint16_t kFcsLength = 13;

struct Notes final : RunListener {
    void OnInput(std::size_t /*input*/, const capture::Problem& problem) override { text += problem.text; }
    void OnOutput(const std::string& line) override { text += line; }
    std::string text;
};

struct InterfacesTest : testing::Test {
    // Merges captures into one of that format, and gives its path. `notes` is what is to be said of them.
    std::string Merge(const std::vector<std::string>& captures, OutputFormat format, const std::string& notes = "") {
        ExactJob job;
        job.format = format;
        job.output = directory.Path("out" + std::to_string(++files));
        for (const std::string& capture : captures) {
            job.inputs.push_back({directory.Write("in" + std::to_string(++files), capture)});
        }
        Notes heard;
        output::RunProgress progress;
        EXPECT_EQ(exact::Run(job, heard, progress).status, Status::kComplete);
        EXPECT_EQ(heard.text, notes);
        return job.output;
    }

    static capture::CaptureReader Read(const std::string& path) {
        capture::CaptureReader reader;
        EXPECT_FALSE(reader.Open(path));
        return reader;
    }

    TempDir directory;
    int files = 0;
};

TEST_F(InterfacesTest, OfMoreSectionsThanOneHasRoomForAllHaveTheirPackets) {
    constexpr int kSections = 70000;
    PcapNgBuilder builder = PcapNgBuilder::Empty();
    for (int section = 0; section < kSections; ++section) {
        builder.Section();
        builder.Interface(section % 2 == 0 ? 1 : 101, 0, builder.Option(kInterfaceName, std::to_string(section)));
        builder.Packet(static_cast<std::uint64_t>(section), "x");
    }
    const std::string note =
        "more interfaces than a section of the output holds: those that no packet names may be missing";
    capture::CaptureReader reader = Read(Merge({builder.Bytes()}, OutputFormat::kPcapNg, note));
    int records = 0;
    for (const capture::Record& record : reader) {
        ASSERT_EQ(record.time, std::int64_t{records} * 1000);
        ASSERT_EQ(record.interface->linkType, records % 2 == 0 ? 1U : 101U);
        ++records;
    }
    EXPECT_EQ(records, kSections);
    EXPECT_FALSE(reader.GetProblem());
}

TEST_F(InterfacesTest, WithEqualDescriptionsAreOneInDifferentSectionsAndTwoInOne) {
    const std::string name = PcapNgBuilder().Option(kInterfaceName, "eth0");
    const struct {
        const char* about;
        std::vector<std::vector<std::string>> in;  // of each section, the options of each interface
        std::uint32_t last;                        // the number of the last packet's interface
    } rows[] = {
        {.about = "the same twice", .in = {{name}, {name}}, .last = 0},
        {.about = "another one", .in = {{name}, {""}}, .last = 1},
        {.about = "two in each", .in = {{name, name}, {name, name}}, .last = 1},
        {.about = "two, with another between them", .in = {{name, name}, {name, "", name}}, .last = 1},
        {.about = "a third one in the second", .in = {{name, ""}, {name, "", name}}, .last = 2},
    };
    for (const auto& row : rows) {
        PcapNgBuilder builder = PcapNgBuilder::Empty();
        for (const auto& interfaces : row.in) {
            builder.Section();
            for (const std::string& options : interfaces) {
                builder.Interface(1, 0, options);
            }
            builder.PacketOf(static_cast<std::uint32_t>(interfaces.size() - 1), 1, "x");
        }
        capture::CaptureReader reader = Read(Merge({builder.Bytes()}, OutputFormat::kPcapNg));
        std::uint32_t last = 99;
        for (const capture::Record& record : reader) {
            last = record.interface->number;
        }
        EXPECT_EQ(last, row.last) << row.about;
    }
}

TEST_F(InterfacesTest, KeepTheLengthOfTheirFrameCheckSequences) {
    const auto pcap = [](std::uint32_t bits) { return CaptureBuilder().LinkType(1 | bits).Record(1, 0, "x").Bytes(); };
    const auto pcapNg = [](const std::string& length) {
        PcapNgBuilder builder = PcapNgBuilder::Empty().Section();
        return builder.Interface(1, 0, builder.Option(kFcsLength, length)).Packet(1, "x").Bytes();
    };
    const std::string untold = PcapNgBuilder().Packet(1, "x").Bytes();
    const std::string none = CaptureBuilder().Bytes();
    const std::string note = "the output does not tell how long its frame check sequences are";
    constexpr std::uint32_t kFour = 0x24000000;  // octets
    const struct {
        const char* about;
        std::vector<std::string> in;
        std::uint32_t bits;        // the upper six of a pcap file's link type
        std::vector<int> lengths;  // of each interface of a pcap-ng file; -1: not told
        std::string notes = {};    // of the pcap file
    } rows[] = {
        {.about = "four octets in pcap", .in = {pcap(kFour)}, .bits = kFour, .lengths = {32}},
        {.about = "none, for sure", .in = {pcap(0x04000000)}, .bits = 0x04000000, .lengths = {0}},
        {.about = "no bit says it is a length", .in = {pcap(0x20000000)}, .bits = 0x20000000, .lengths = {-1}},
        {.about = "32 bits in pcap-ng", .in = {pcapNg("\x20")}, .bits = kFour, .lengths = {32}},
        {.about = "what is below 8 is octets", .in = {pcapNg("\4")}, .bits = kFour, .lengths = {32}},
        {.about = "no whole 16 bits", .in = {pcapNg("\x18")}, .bits = 0, .lengths = {24}, .notes = note},
        {.about = "both agree", .in = {pcap(kFour), pcapNg("\4"), none}, .bits = kFour, .lengths = {32, 32}},
        {.about = "they do not", .in = {pcap(kFour), untold}, .bits = 0, .lengths = {32, -1}, .notes = note},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.about);
        EXPECT_EQ(Read(Merge(row.in, OutputFormat::kFitting, row.notes)).Traits().fcsBits, row.bits);
        capture::CaptureReader rich = Read(Merge(row.in, OutputFormat::kPcapNg));
        std::vector<int> lengths(row.lengths.size(), -2);
        for (const capture::Record& record : rich) {
            const capture::Interface& interface = *record.interface;
            lengths.at(interface.number) = interface.fcsLength ? int{*interface.fcsLength} : -1;
        }
        EXPECT_EQ(lengths, row.lengths);
    }
}

}  // namespace
}  // namespace velora::exact
