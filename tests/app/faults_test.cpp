// What is left of a run in which a call fails: every call of a kind in turn, once and from then on for good,
// until the run passes untouched; each write; and a full disk.

#include <csignal>

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/capture_builder.h"
#include "tests/support/libpcap_reader.h"
#include "tests/support/limits.h"
#include "tests/support/tool_run.h"

namespace {

constexpr int kRecords = 3;  // of each input; the last input has one more, without data

class FaultsTest : public testing::Test {
 protected:
    FaultsTest() {
        CaptureBuilder classic;
        PcapNgBuilder next;
        for (int record = 0; record < kRecords; ++record) {
            classic.Record(record, 0, "record");
            next.Packet(static_cast<std::uint64_t>(record) * 1000000, "packet");
        }
        m_Run.directory.Write("plain", classic.Bytes());
        m_Run.directory.Write("zipped.gz", Gzip(classic.Bytes()));
        m_Run.directory.Write("zipped.bz2", Bzip2(classic.Bytes() + "x"));
        m_Run.directory.Write("next", next.Packet(kRecords * std::uint64_t{1000000}, "").Bytes());
        m_Run.prepare = [] { alarm(20); };  // against a hang
        EXPECT_EQ(RunWith("none 1").exitStatus, 0);
        m_Whole = m_Run.directory.Read("x");
        EXPECT_EQ(m_Whole.size(), 24U + 4 * kRecords * (16 + 6) + 16);
    }

    // Runs with a fault and leaves in m_Failed how many calls failed, in m_Descriptors what was open at
    // the end; -1 after an abnormal end.
    ToolResult RunWith(const std::string& fault) {
        const TempDir report;
        m_Run.environment["LD_PRELOAD"] = LOG_WITNESS_PATH ":" FAULT_INJECTOR_PATH;
        m_Run.environment["SEAMTOOL_FAULT"] = fault;
        m_Run.environment["SEAMTOOL_FAULT_REPORT"] = report / "report";
        std::filesystem::remove(m_Run.directory / "x");
        ToolResult result = m_Run("plain zipped.gz zipped.bz2 next -out x");
        m_Failed = m_Descriptors = -1;
        sscanf(report.Read("report").c_str(), "%d %d", &m_Failed, &m_Descriptors);
        return result;
    }

    ToolRun m_Run;
    std::string m_Whole;  // what an untouched run writes
    int m_Failed = 0;
    int m_Descriptors = 0;
};

class FaultSweepTest : public FaultsTest, public testing::WithParamInterface<const char*> {};

TEST_P(FaultSweepTest, EndsInOrder) {
    const std::string call = GetParam();
    const int descriptors = m_Descriptors;
    for (const char* const forGood : {"", "+"}) {
        for (int k = 1;; ++k) {
            const std::string fault = call + " " + std::to_string(k) + forGood;
            const ToolResult result = RunWith(fault);
            const std::string file = m_Run.directory.Read("x");
            ASSERT_LT(k, 2000) << "the sweep did not come to its end";
            if (m_Failed == 0) {
                EXPECT_GT(k, 1) << "no call was there to fail";
                EXPECT_TRUE(file == m_Whole) << "an untouched run";
                break;
            }
            if (m_Failed < 0) {
                // Only exhausted memory may end the process, at any point.
                ASSERT_TRUE(call == "malloc" && result.signal == SIGABRT) << fault << "\n" << result;
                ASSERT_TRUE(file.empty() || file.starts_with(CaptureBuilder().Bytes())) << fault;
                continue;
            }
            ASSERT_TRUE(result.exitStatus == 0 || result.exitStatus == 253) << fault << "\n" << result;
            if (call != "malloc") {  // libbz2's stream is given up when its memory is refused
                ASSERT_EQ(m_Descriptors, descriptors) << fault << "\n" << result;
            }
            const std::string read = RewrittenFromLibpcap(m_Run.directory / "x");
            if (call != "write") {
                ASSERT_TRUE(file.empty() || file == read) << fault << result;
            } else if (*forGood == '+' && !file.empty()) {
                const std::size_t wholeRecords = (file.size() - 24) / 22 * 22;
                ASSERT_TRUE(m_Whole.starts_with(file)) << fault << result;
                ASSERT_TRUE(read.starts_with(file.substr(0, 24 + wholeRecords))) << fault << result;
            }
            if (call == "scalable_malloc") {
                const std::string noMemory = "ERROR Error reading pcap payload   error = Cannot allocate memory";
                ASSERT_EQ(result.LogWith("ERROR"), Lines(static_cast<std::size_t>(m_Failed), noMemory)) << fault;
            }
        }
    }
}

const char* const kCalls[] = {"open64", "fopen",          "fopen64", "read", "fread", "write", "close", "fclose",
#if !IS_SANITIZED  // whose builds have an allocator of their own
                              "malloc", "scalable_malloc"
#endif
};

INSTANTIATE_TEST_SUITE_P(Calls, FaultSweepTest, testing::ValuesIn(kCalls),
                         [](const auto& row) { return std::string(row.param); });

// What is in the file when the k-th write fails: all the writes but that one, and none of the data behind a
// header that was not written. Each record is two writes, also the last, which has no data.
TEST_F(FaultsTest, KeepsAllThatWasWritten) {
    for (std::size_t record = 0; record <= std::size_t{4} * kRecords; ++record) {
        const std::size_t start = 24 + record * 22;
        const std::size_t end = std::min(start + 22, m_Whole.size());
        for (const std::size_t part : {0U, 1U}) {
            const ToolResult result = RunWith("write " + std::to_string(2 + 2 * record + part));
            EXPECT_EQ(m_Run.directory.Read("x"), m_Whole.substr(0, start + 16 * part) + m_Whole.substr(end)) << result;
            EXPECT_EQ(result.LogWith("ERROR"),
                      Lines{"ERROR Write Error to intermediate file :  Error = 28 S = No space left on device"});
            EXPECT_EQ(result.log.back(), "DEBUG Impex(PCAP) Merger: Done pkts=13 bytes=72 f=x");
        }
    }
}

// The limit holds for every file of the process, its log among them: so a record of filler comes first and takes
// the output to a size that the log never reaches.
TEST(FullDiskTest, LeavesWhatFittedAndLogsEachFailedWrite) {
    CaptureBuilder builder;
    builder.Record(0, 0, std::string(16000, '.'));
    const std::size_t start = builder.Bytes().size();
    const std::string bytes = builder.Record(1, 0, "0123456789").Record(2, 0, "0123456789").Bytes();
    // A write that fits in part counts as success, so a record fails when not a byte of its header or of its data fits.
    for (const auto& [room, failed] : {std::pair{0, 2}, {1, 2}, {15, 2}, {16, 2}, {17, 1}, {26, 1}, {42, 1}, {43, 0}}) {
        ToolRun run;
        run.directory.Write("in", bytes);
        const std::size_t limit = start + static_cast<std::size_t>(room);
        run.prepare = [limit] { static const ScopedLimit kFullDisk(RLIMIT_FSIZE, limit); };
        const ToolResult result = run("in -out x");
        EXPECT_EQ(result.exitStatus, 0) << result;
        EXPECT_EQ(run.directory.Read("x"), bytes.substr(0, limit)) << room;
        const std::string error = "ERROR Write Error to intermediate file :  Error = 27 S = File too large";
        EXPECT_EQ(result.LogWith("ERROR"), Lines(static_cast<std::size_t>(failed), error)) << room;
        EXPECT_EQ(result.log.back(), "DEBUG Impex(PCAP) Merger: Done pkts=3 bytes=16020 f=x");
    }
}

TEST(FullDiskTest, FailsWhenTheFileHeaderFitsInPart) {
    ToolRun run;
    run.prepare = [] { static const ScopedLimit kFullDisk(RLIMIT_FSIZE, 23); };
    EXPECT_EQ(run("in -out x").exitStatus, 253);
}

}  // namespace
