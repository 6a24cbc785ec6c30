// Every call of a kind fails in turn, once and from then on for good, until the run passes untouched.

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/capture_builder.h"
#include "tests/support/libpcap_reader.h"
#include "tests/support/tool_run.h"

namespace {

constexpr int kRecords = 3;

class FaultSweepTest : public testing::TestWithParam<const char*> {
 protected:
    FaultSweepTest() {
        CaptureBuilder classic;
        PcapNgBuilder next;
        for (int record = 0; record < kRecords; ++record) {
            classic.Record(record, 0, "record");
            next.Packet(static_cast<std::uint64_t>(record) * 1000000, "packet");
        }
        m_Run.directory.Write("plain", classic.Bytes());
        m_Run.directory.Write("zipped.gz", Gzip(classic.Bytes()));
        m_Run.directory.Write("zipped.bz2", Bzip2(classic.Bytes() + "x"));
        m_Run.directory.Write("next", next.Bytes());
        m_Run.prepare = [] { alarm(20); };  // against a hang
    }

    // Runs with a fault and leaves in m_Failed how many calls failed, in m_Descriptors what was open at
    // the end; -1 after an abnormal end.
    ToolResult RunWith(const std::string& fault) {
        const TempDir report;
        m_Run.environment = {"SEAMTOOL_FAULT=" + fault, "SEAMTOOL_FAULT_REPORT=" + report.Path("report"),
                             "LD_PRELOAD=" LOG_WITNESS_PATH ":" FAULT_INJECTOR_PATH};
        unlink(m_Run.directory.Path("x").c_str());
        ToolResult result = m_Run({"plain", "zipped.gz", "zipped.bz2", "next", "-out", "x"});
        m_Failed = m_Descriptors = -1;
        sscanf(report.Read("report").c_str(), "%d %d", &m_Failed, &m_Descriptors);
        return result;
    }

    ToolRun m_Run;
    int m_Failed = 0;
    int m_Descriptors = 0;
};

TEST_P(FaultSweepTest, EndsInOrder) {
    const std::string call = GetParam();
    ToolResult result = RunWith("none 1");
    const int descriptors = m_Descriptors;
    const std::string whole = m_Run.directory.Read("x");
    ASSERT_EQ(result.exitStatus, 0) << result;
    ASSERT_EQ(whole.size(), 24U + 4 * kRecords * (16 + 6));

    int k = 0;
    for (const char* const forGood : {"", "+"}) {
        for (k = 1; k < 2000; ++k) {
            const std::string fault = call + " " + std::to_string(k) + forGood;
            result = RunWith(fault);
            if (m_Failed == 0) {
                break;
            }
            const std::string file = m_Run.directory.Read("x");
            std::string error;
            const std::string read = RewrittenFromLibpcap(m_Run.directory.Path("x"), &error);
            if (m_Failed < 0) {
                // Only exhausted memory may end the process, at any point.
                ASSERT_TRUE(call == "malloc" && result.signal == SIGABRT) << fault << "\n" << result;
                ASSERT_TRUE(file.empty() || file.starts_with(read)) << fault;
                continue;
            }
            ASSERT_TRUE(result.exitStatus == 0 || result.exitStatus == 253) << fault << "\n" << result;
            if (call != "malloc") {  // libbz2's stream is given up when its memory is refused
                ASSERT_EQ(m_Descriptors, descriptors) << fault << "\n" << result;
            }
            if (call != "write") {
                ASSERT_TRUE(file.empty() || file == read) << fault << ": " << error << "\n" << result;
            }
        }
        EXPECT_GT(k, 1) << "no call was there to fail";
        EXPECT_LT(k, 2000) << "the sweep did not come to its end";
        EXPECT_TRUE(m_Run.directory.Read("x") == whole) << "an untouched run";
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
// header that was not written.
TEST_F(FaultSweepTest, KeepsAllThatWasWritten) {
    static_cast<void>(RunWith("none 1"));
    const std::string whole = m_Run.directory.Read("x");
    for (int record = 0; record < 4 * kRecords; ++record) {
        const std::size_t start = 24 + static_cast<std::size_t>(record) * 22;
        ToolResult result = RunWith("write " + std::to_string(2 + 2 * record));
        EXPECT_EQ(m_Run.directory.Read("x"), whole.substr(0, start) + whole.substr(start + 22)) << result;
        EXPECT_EQ(result.LogWith("ERROR Write Error to intermediate file :  Error = 28 S = No space").size(), 1U);
        result = RunWith("write " + std::to_string(3 + 2 * record));
        EXPECT_EQ(m_Run.directory.Read("x"), whole.substr(0, start + 16) + whole.substr(start + 22)) << result;
        EXPECT_EQ(result.log.back(), "DEBUG Impex(PCAP) Merger: Done pkts=12 bytes=72 f=x");
    }
}

TEST_F(FaultSweepTest, WritesTwiceForEachRecordAndForOneWithoutData) {
    m_Run.directory.Write("next", PcapNgBuilder().Packet(0, "").Packet(0, "").Bytes());
    constexpr int kWrites = 1 + 2 * (3 * kRecords + 2);
    static_cast<void>(RunWith("write " + std::to_string(kWrites)));
    EXPECT_EQ(m_Failed, 1);
    static_cast<void>(RunWith("write " + std::to_string(kWrites + 1)));
    EXPECT_EQ(m_Failed, 0);
}

}  // namespace
