#include <algorithm>
#include <random>

#include <gtest/gtest.h>

#include "tests/impex/naive_model.h"
#include "tests/support/capture_builder.h"
#include "tests/support/log_text.h"
#include "tests/support/temp_dir.h"
#include "velora/impex/squish.h"
#include "velora/impex/time_ordered_merge.h"

namespace {

// Random captures in every form that a file can have, with the records that the reader delivers.
class RandomInputs {
 public:
    explicit RandomInputs(unsigned seed) : m_Engine(seed) {
        for (int left = Between(1, 6); left > 0; --left) {
            Make();
        }
    }

    std::vector<std::string> paths;
    std::vector<ModelInput> delivered;

 private:
    int Between(int low, int high) { return std::uniform_int_distribution(low, high)(m_Engine); }

    std::uint32_t OneOf(const std::uint32_t (&values)[5]) { return values[Between(0, 4)]; }

    // Few seconds and microseconds, unless they are wild, so that ties and steps back abound. Frames of 31, 32 and
    // 33 bytes, around the shortest that is copied, come as often as all others.
    ModelRecord MakeRecord(bool isWild) {
        const int size = Between(0, 1) == 0 ? Between(31, 33) : Between(0, 90);
        const std::uint32_t type = OneOf({0x0800, 0x0800, 0x0800, 0x0801, 0x0906});
        const std::uint32_t source = OneOf({0xC0A80102, 0xC0A80102, 0x08080808, 0xC0A90102, 0x0AA80102});
        const std::uint32_t destination = OneOf({0xC0A80102, 0xC0A80102, 0x08080808, 0xC0A90102, 0x0AA80102});
        return {isWild ? Between(INT32_MIN, INT32_MAX) : 100 + Between(0, 5),
                isWild ? Between(INT32_MIN, INT32_MAX) : Between(0, 3) * 300000,
                static_cast<std::uint32_t>(size + Between(0, 20)),
                Frame(static_cast<std::uint16_t>(type), source, destination, static_cast<std::size_t>(size),
                      static_cast<char>(Between(0, 255)))};
    }

    void Make() {
        enum { Plain, Big, Gzipped, Bzipped, Next };
        const int form = Between(Plain, Next);
        const bool isWild = form != Next && Between(0, 2) == 0;
        CaptureBuilder classic;
        classic.BigEndian(form == Big).LinkType(OneOf({0, 1, 12, 101, 113}));
        PcapNgBuilder next;
        ModelInput records;
        for (int left = Between(0, 12); left > 0; --left) {
            const auto& [sec, usec, origLen, data] = records.emplace_back(MakeRecord(isWild && !records.empty()));
            classic.Record(sec, usec, static_cast<std::uint32_t>(data.size()), origLen, data);
            if (form == Next) {
                next.Packet(static_cast<std::uint64_t>(sec * 1000000LL + usec), data, origLen);
            }
        }
        const std::string bytes = form == Next ? next.Bytes() : classic.Bytes();
        const std::string stored = form == Gzipped ? Gzip(bytes) : form == Bzipped ? Bzip2(bytes) : bytes;
        const char* const suffix = form == Gzipped ? ".gz" : form == Bzipped ? ".bz2" : "";
        paths.push_back(m_Directory.Write("input" + std::to_string(paths.size()) + suffix, stored));
        if (form == Bzipped && !records.empty()) {
            records.pop_back();  // its last byte comes with the end of the stream
        } else if (form == Plain || form == Big) {
            // stdio reports no item for a payload of no bytes: the input ends there.
            const auto isEmpty = [](const ModelRecord& record) { return record.data.empty(); };
            records.erase(std::ranges::find_if(records, isEmpty), records.end());
        }
        delivered.push_back(records);
    }

    std::mt19937 m_Engine;
    TempDir m_Directory;
};

// Holds a run against the model: file, counters, lines of log and standard output.
void Compare(const RandomInputs& inputs, Algorithm algorithm) {
    const bool isMerge = algorithm == Algorithm::Merge;
    const ModelResult expected = RunModel(inputs.delivered, algorithm);
    const TempDir directory;
    MergeJob job(directory / "out", inputs.paths);
    const LogTail log;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(isMerge ? Merge(job) : Squish(job, algorithm == Algorithm::Squish10 ? 10 : 0));
    const std::string printed = testing::internal::GetCapturedStdout();

    EXPECT_TRUE(directory.Read("out") == expected.file) << "the files differ";
    EXPECT_EQ(job.packetsWritten, expected.packets);
    EXPECT_EQ(job.bytesWritten, expected.bytes);
    Lines expectedLog;
    std::string expectedPrint;
    for (const std::size_t input : expected.finished) {
        expectedLog.push_back("DEBUG Impex(PCAP) Merger:  EOF: on " + inputs.paths[input]);
        expectedPrint += isMerge ? "" : "EOF on " + inputs.paths[input] + ", bye ! \n";
    }
    expectedLog.push_back("DEBUG Impex(PCAP) Merger: Done pkts=" + std::to_string(expected.packets) +
                          " bytes=" + std::to_string(expected.bytes) + " f=" + job.outputPath);
    Lines ownLog = log.Lines();
    const char* const own = isMerge ? "Impex(PCAP)" : "DEBUG Impex(PCAP) Merger";  // less what it skips
    std::erase_if(ownLog, [own](const std::string& line) { return line.find(own) == std::string::npos; });
    EXPECT_EQ(ownLog, expectedLog);
    EXPECT_EQ(printed, expectedPrint);
}

TEST(AlgorithmsTest, AgreeWithTheNaiveModel) {
    constexpr unsigned kRuns = 300;
    const unsigned first = std::random_device()();
    for (unsigned seed = first; seed != first + kRuns && !testing::Test::HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const RandomInputs inputs(seed);
        Compare(inputs, Algorithm::Merge);
        if (!std::ranges::all_of(inputs.delivered, &ModelInput::empty)) {  // or the squish ends by an exception
            Compare(inputs, Algorithm::Squish);
            Compare(inputs, Algorithm::Squish10);
        }
    }
}

}  // namespace
