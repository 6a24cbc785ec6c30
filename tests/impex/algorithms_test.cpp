#include <algorithm>
#include <random>

#include <gtest/gtest.h>

#include "impex/squish.h"
#include "impex/time_ordered_merge.h"
#include "tests/impex/naive_model.h"
#include "tests/support/capture_builder.h"
#include "tests/support/libpcap_reader.h"
#include "tests/support/log_text.h"
#include "tests/support/temp_dir.h"

namespace {

constexpr std::uint32_t kPrivate = 0xC0A80102;  // 192.168.1.2
constexpr std::uint32_t kPublic = 0x08080808;

// Random captures in every form that a file can have, with the records that the reader delivers.
class RandomInputs {
 public:
    explicit RandomInputs(unsigned seed) : m_Engine(seed) {
        const int count = Between(1, 6);
        for (int input = 0; input < count; ++input) {
            Make();
        }
    }

    std::vector<std::string> paths;
    std::vector<ModelInput> delivered;

 private:
    int Between(int low, int high) { return std::uniform_int_distribution(low, high)(m_Engine); }

    ModelRecord MakeRecord(bool isFirst, bool isWild) {
        // Few seconds and microseconds, so that ties and steps back abound.
        ModelRecord record{100 + Between(0, 5), Between(0, 3) * 300000, 0, ""};
        if (isWild && !isFirst) {
            record.sec = Between(INT32_MIN, INT32_MAX);
            record.usec = Between(INT32_MIN, INT32_MAX);
        }
        const std::uint32_t addresses[] = {kPrivate, kPrivate, kPublic, 0xC0A90102, 0x0AA80102};
        const std::uint32_t source = addresses[Between(0, 4)];
        const std::uint32_t destination = addresses[Between(0, 4)];
        const int size = Between(0, 3) == 0 ? Between(0, 40) : Between(34, 90);
        record.data = Frame(Between(0, 3) == 0 ? 0x0806 : 0x0800, source, destination, static_cast<std::size_t>(size),
                            static_cast<char>(Between(0, 255)));
        record.origLen = static_cast<std::uint32_t>(size + Between(0, 20));
        return record;
    }

    void Make() {
        const int form = Between(0, 4);
        ModelInput records;
        const bool isWild = form != 4 && Between(0, 2) == 0;
        for (int left = Between(0, 12); left > 0; --left) {
            records.push_back(MakeRecord(records.empty(), isWild));
        }
        CaptureBuilder classic;
        if (form == 1) {
            classic.BigEndian();
        }
        PcapNgBuilder next;
        for (ModelRecord& record : records) {
            if (form == 4) {
                record.origLen = static_cast<std::uint32_t>(record.data.size());
                next.Packet(static_cast<std::uint64_t>(record.sec) * 1000000 + static_cast<std::uint64_t>(record.usec),
                            record.data);
                // The resolution has no more than six digits: carry as the file does.
                record.sec += record.usec / 1000000;
                record.usec %= 1000000;
            } else {
                classic.Record(record.sec, record.usec, static_cast<std::uint32_t>(record.data.size()), record.origLen,
                               record.data);
            }
        }
        const std::string name = "input" + std::to_string(paths.size());
        if (form == 2) {
            paths.push_back(m_Directory.Write(name + ".gz", Gzip(classic.Bytes())));
        } else if (form == 3) {
            paths.push_back(m_Directory.Write(name + ".bz2", Bzip2(classic.Bytes())));
            if (!records.empty()) {
                records.pop_back();  // its last byte comes with the end of the stream
            }
        } else {
            paths.push_back(m_Directory.Write(name, form == 4 ? next.Bytes() : classic.Bytes()));
            if (form != 4) {
                // stdio reports no item for a payload of no bytes: the input ends there.
                const auto isEmpty = [](const ModelRecord& record) { return record.data.empty(); };
                records.erase(std::ranges::find_if(records, isEmpty), records.end());
            }
        }
        delivered.push_back(records);
    }

    std::mt19937 m_Engine;
    TempDir m_Directory;
};

// Holds a run against the model: file, counters, lines of log and standard output.
void Compare(const RandomInputs& inputs, const ModelResult& expected, const std::function<bool(MergeJob&)>& run,
             bool isSquish) {
    const TempDir directory;
    MergeJob job(directory.Path("out"), inputs.paths);
    const LogTail log;
    testing::internal::CaptureStdout();
    const bool result = run(job);
    const std::string printed = testing::internal::GetCapturedStdout();

    EXPECT_TRUE(result);
    EXPECT_TRUE(directory.Read("out") == expected.file) << "the files differ";
    EXPECT_TRUE(RewrittenFromLibpcap(job.outputPath) == expected.file) << "libpcap reads otherwise";
    EXPECT_EQ(job.packetsWritten, expected.packets);
    EXPECT_EQ(job.bytesWritten, expected.bytes);
    std::vector<std::string> expectedLog;
    std::string expectedPrint;
    for (const std::size_t input : expected.finished) {
        expectedLog.push_back("DEBUG Impex(PCAP) Merger:  EOF: on " + inputs.paths[input]);
        expectedPrint += isSquish ? "EOF on " + inputs.paths[input] + ", bye ! \n" : "";
    }
    expectedLog.push_back("DEBUG Impex(PCAP) Merger: Done pkts=" + std::to_string(expected.packets) +
                          " bytes=" + std::to_string(expected.bytes) + " f=" + job.outputPath);
    std::vector<std::string> merger = log.Lines();
    std::erase_if(merger, [](const std::string& line) { return !line.starts_with("DEBUG Impex(PCAP) Merger"); });
    EXPECT_EQ(merger, expectedLog);
    EXPECT_EQ(printed, expectedPrint);
}

TEST(AlgorithmsTest, AgreeWithTheNaiveModel) {
    constexpr unsigned kRuns = 300;
    const unsigned first = std::random_device()();
    for (unsigned seed = first; seed != first + kRuns && !testing::Test::HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const RandomInputs inputs(seed);
        Compare(inputs, ModelMerge(inputs.delivered), Merge, false);
        if (std::ranges::all_of(inputs.delivered, &ModelInput::empty)) {
            continue;  // the squish then ends by an exception
        }
        for (const int copies : {0, 10}) {
            Compare(
                inputs, ModelSquish(inputs.delivered, copies), [copies](MergeJob& job) { return Squish(job, copies); },
                true);
        }
    }
}

// The input's times, in seconds, and the output times that the shift rule gives them.
TEST(SquishTest, KeepsAnInputFromGoingBack) {
    const TempDir directory;
    const std::string base = CaptureBuilder().Record(1000, 0, "b").Bytes();
    CaptureBuilder steps;
    for (const int sec : {100, 50, 60, 101, 200}) {
        steps.Record(sec, 0, "s");
    }
    MergeJob job(directory.Path("out"), {directory.Write("base", base), directory.Write("steps", steps.Bytes())});
    ASSERT_TRUE(Squish(job, 0));
    CaptureBuilder expected;
    expected.Record(1000, 0, "b");
    for (const int sec : {1000, 1000, 1010, 1051, 1100}) {
        expected.Record(sec, 0, "s");
    }
    EXPECT_EQ(directory.Read("out"), expected.Bytes());
}

TEST(SquishTest, CopiesIpv4FramesOfEnoughCapturedBytes) {
    struct Row {
        const char* name;
        std::string frame;
        std::uint64_t written;
    };
    const std::string full = Frame(0x0800, kPrivate, kPublic);
    const Row rows[] = {
        {"one byte short", full.substr(0, 31), 1},      {"just enough", full.substr(0, 32), 11},
        {"one more", full.substr(0, 33), 11},           {"no type bytes", full.substr(0, 13), 1},
        {"ARP", Frame(0x0806, kPrivate, kPrivate), 1},  {"0x0801", Frame(0x0801, kPrivate, kPrivate), 1},
        {"public", Frame(0x0800, kPublic, kPublic), 11}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const TempDir directory;
        MergeJob job(directory.Path("out"),
                     {directory.Write("in", CaptureBuilder().LinkType(12).Record(5, 6, row.frame).Bytes())});
        ASSERT_TRUE(Squish(job, 10));
        const ModelRecord record{5, 6, static_cast<std::uint32_t>(row.frame.size()), row.frame};
        EXPECT_EQ(directory.Read("out"), ModelSquish({{record}}, 10).file);
        EXPECT_EQ(job.packetsWritten, row.written);
        EXPECT_EQ(job.bytesWritten, row.written * row.frame.size());
    }
}

TEST(AlgorithmsTest, WithoutUsableInput) {
    const TempDir directory;
    const std::string empty = directory.Write("empty", CaptureBuilder().Bytes());
    const std::vector<std::string> inputs = {directory.Path("missing"), empty};
    MergeJob merge(directory.Path("merged"), inputs);
    LogTail log;
    EXPECT_TRUE(Merge(merge));
    EXPECT_EQ(log.Lines(),
              (std::vector<std::string>{"ERROR Cant Open dump file " + inputs[0] + " error = No such file or directory",
                                        "INFO  Playing Little Endian (Most common type)  TCP Dump file",
                                        "INFO  Reached EOF for this IOW  pkts=0,bytes=0",
                                        "DEBUG Impex(PCAP) Merger: Done pkts=0 bytes=0 f=" + merge.outputPath}));
    EXPECT_EQ(directory.Read("merged"), CaptureBuilder().Bytes());

    MergeJob squish(directory.Path("squished"), inputs);
    log = LogTail();
    EXPECT_THROW(static_cast<void>(Squish(squish, 0)), std::out_of_range);
    EXPECT_EQ(log.Lines().back(), "INFO  Impex(PCAP) Squisher: Skipping empty PCAP - file header only " + empty);
    EXPECT_EQ(directory.Read("squished"), CaptureBuilder().Bytes());
}

TEST(AlgorithmsTest, WithoutAnOutputOpenNoInput) {
    const TempDir directory;
    const std::string input = directory.Write("in", CaptureBuilder().Record(1, 0, "x").Bytes());
    const std::string output = directory.Path("missing/out");
    const std::string refused = "ERROR Cannot open filtered intermediate output  file : " + output + "Error no = 2";
    MergeJob job(output, {input});
    LogTail log;
    EXPECT_FALSE(Merge(job));
    EXPECT_EQ(log.Lines(),
              (std::vector<std::string>{refused, "ERROR Impex(PCAP) Merger: Unable to open output file " + output}));
    log = LogTail();
    EXPECT_FALSE(Squish(job, 10));
    EXPECT_EQ(log.Lines(),
              (std::vector<std::string>{refused, "ERROR Impex(PCAP) Squisher: Unable to open output file " + output}));
    EXPECT_EQ(job.packetsWritten, 0U);
}

}  // namespace
