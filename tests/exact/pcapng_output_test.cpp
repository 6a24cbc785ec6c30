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

class Notes final : public RunListener {
 public:
    void OnInput(std::size_t /*input*/, const capture::Problem& problem) override { lines += problem.text + "\n"; }
    void OnOutput(const std::string& text) override { lines += text + "\n"; }
    std::string lines;
};

class InterfacesTest : public testing::Test {
 protected:
    // Merges captures into one of that format, and gives its path.
    std::string Merge(const std::vector<std::string>& captures, OutputFormat format) {
        ExactJob job;
        job.format = format;
        job.output = m_Directory.Path("out" + std::to_string(++m_Runs));
        for (const std::string& capture : captures) {
            job.inputs.push_back({m_Directory.Write("in" + std::to_string(++m_Inputs), capture)});
        }
        Notes notes;
        output::RunProgress progress;
        EXPECT_EQ(exact::Run(job, notes, progress).status, Status::kComplete);
        m_Notes = notes.lines;
        return job.output;
    }

    std::string m_Notes;  // of the last merge

 private:
    TempDir m_Directory;
    int m_Runs = 0;
    int m_Inputs = 0;
};

TEST_F(InterfacesTest, OfMoreSectionsThanOneHasRoomForAllHaveTheirPackets) {
    constexpr int kSections = 70000;
    PcapNgBuilder builder = PcapNgBuilder::Empty();
    for (int section = 0; section < kSections; ++section) {
        builder.Section().Interface(section % 2 == 0 ? 1 : 101, 0,
                                    builder.Option(kInterfaceName, std::to_string(section)));
        builder.Packet(static_cast<std::uint64_t>(section), "x");
    }
    capture::CaptureReader reader(Merge({builder.Bytes()}, OutputFormat::kPcapNg));
    int records = 0;
    while (const capture::Record* record = reader.Next()) {
        ASSERT_EQ(record->time, std::int64_t{records} * 1000);
        ASSERT_EQ(record->interface->linkType, records % 2 == 0 ? 1U : 101U);
        ++records;
    }
    EXPECT_EQ(records, kSections);
    EXPECT_FALSE(reader.GetProblem());
}

TEST_F(InterfacesTest, WithEqualDescriptionsAreOneInDifferentSectionsAndTwoInOne) {
    const std::string name = PcapNgBuilder().Option(kInterfaceName, "eth0");
    struct Row {
        const char* about;
        std::vector<std::vector<std::string>> sections;  // the options of each interface
        std::uint32_t last;                              // the number of the last packet's interface
    };
    for (const Row& row : {
             Row{.about = "the same twice", .sections = {{name}, {name}}, .last = 0},
             Row{.about = "another one", .sections = {{name}, {""}}, .last = 1},
             Row{.about = "two in each", .sections = {{name, name}, {name, name}}, .last = 1},
             Row{.about = "two, with another between them", .sections = {{name, name}, {name, "", name}}, .last = 1},
             Row{.about = "a third one in the second", .sections = {{name, ""}, {name, "", name}}, .last = 2},
         }) {
        PcapNgBuilder builder = PcapNgBuilder::Empty();
        for (const auto& interfaces : row.sections) {
            builder.Section();
            for (const std::string& options : interfaces) {
                builder.Interface(1, 0, options);
            }
            builder.PacketOf(static_cast<std::uint32_t>(interfaces.size() - 1), 1, "x");
        }
        capture::CaptureReader reader(Merge({builder.Bytes()}, OutputFormat::kPcapNg));
        std::uint32_t last = 99;
        while (const capture::Record* record = reader.Next()) {
            last = record->interface->number;
        }
        EXPECT_EQ(last, row.last) << row.about;
    }
}

TEST_F(InterfacesTest, KeepTheLengthOfTheirFrameCheckSequences) {
    const auto classic = [](std::uint32_t bits) {
        return CaptureBuilder().LinkType(1 | bits).Record(1, 0, "x").Bytes();
    };
    const auto pcapNg = [](const std::string& length) {
        PcapNgBuilder builder = PcapNgBuilder::Empty();
        builder.Section().Interface(1, 0, length.empty() ? "" : builder.Option(kFcsLength, length));
        return builder.Packet(1, "x").Bytes();
    };
    const std::string note = "the output does not tell how long its frame check sequences are\n";
    struct Row {
        const char* about;
        std::vector<std::string> captures;
        std::uint32_t inPcap;     // the six bits of a pcap file's header
        std::vector<int> inBits;  // of each interface of a pcap-ng file; -1: not told
        std::string notes{};      // of the pcap file
    };
    using namespace std::string_literals;
    for (const Row& row : {
             Row{.about = "four octets in pcap",
            .captures = {classic(0x24000000)},
            .inPcap = 0x24000000,
            .inBits = {32}},
             Row{.about = "none, for sure", .captures = {classic(0x04000000)}, .inPcap = 0x04000000, .inBits = {0}},
             Row{.about = "a length without the bit that says it is one",
             .captures = {classic(0x20000000)},
             .inPcap = 0x20000000,
             .inBits = {-1}},
             Row{.about = "32 bits in pcap-ng", .captures = {pcapNg("\x20")}, .inPcap = 0x24000000, .inBits = {32}},
             Row{.about = "what is below 8 is octets",
             .captures = {pcapNg("\4")},
             .inPcap = 0x24000000,
             .inBits = {32}},
             Row{.about = "no whole 16 bits", .captures = {pcapNg("\x18")}, .inPcap = 0, .inBits = {24}, .notes = note},
             Row{.about = "both formats agree",
             .captures = {classic(0x24000000), pcapNg("\4")},
             .inPcap = 0x24000000,
             .inBits = {32, 32}},
             Row{.about = "they do not",
             .captures = {classic(0x24000000), pcapNg("")},
             .inPcap = 0,
             .inBits = {32, -1},
             .notes = note},
         }) {
        capture::CaptureReader pcap(Merge(row.captures, OutputFormat::kFitting));
        EXPECT_EQ(m_Notes, row.notes) << row.about;
        ASSERT_NE(pcap.Next(), nullptr);
        EXPECT_EQ(pcap.Traits().fcsBits, row.inPcap) << row.about;
        capture::CaptureReader rich(Merge(row.captures, OutputFormat::kPcapNg));
        EXPECT_EQ(m_Notes, "") << row.about;
        std::vector<int> lengths(row.inBits.size(), -2);
        while (const capture::Record* record = rich.Next()) {
            lengths.at(record->interface->number) =
                record->interface->fcsLength ? int{*record->interface->fcsLength} : -1;
        }
        EXPECT_EQ(lengths, row.inBits) << row.about;
    }
}

}  // namespace
}  // namespace velora::exact
