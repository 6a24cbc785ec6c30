// What is left of a run that meets a full disk, a kill or an input that lies.

#include <csignal>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include "tests/support/capture_builder.h"
#include "tests/support/tool_run.h"

namespace {

void LimitFileSize(rlim_t bytes) {
    const rlimit limit{bytes, bytes};
    setrlimit(RLIMIT_FSIZE, &limit);
}

const std::string kWriteError = "ERROR Write Error to intermediate file :  Error = 27 S = File too large";

// The limit holds for every file of the process, its log among them: so a record of filler comes
// first and takes the output to a size that the log never reaches.
class FullDiskTest : public testing::Test {
 protected:
    FullDiskTest() {
        CaptureBuilder builder;
        builder.Record(0, 0, std::string(kFiller, '.'));
        m_Start = builder.Bytes().size();
        for (int record = 0; record < kRecords; ++record) {
            builder.Record(1 + record, 0, std::string(kBytes, static_cast<char>('a' + record)));
        }
        m_Whole = builder.Bytes();
        m_Run.directory.Write("in", m_Whole);
    }

    static constexpr int kRecords = 5;
    static constexpr std::size_t kBytes = 10;
    static constexpr std::size_t kFiller = 16000;
    std::size_t m_Start = 0;  // of what the limits of the tests cut
    std::string m_Whole;
    ToolRun m_Run;
};

TEST_F(FullDiskTest, LeavesWhatFittedAndLogsEachFailedWrite) {
    for (std::size_t limit = m_Start; limit <= m_Whole.size(); ++limit) {
        std::filesystem::remove(m_Run.directory.Path("x"));
        m_Run.prepare = [limit] {
            std::signal(SIGXFSZ, SIG_IGN);  // inherited: the write fails instead
            LimitFileSize(limit);
        };
        const ToolResult result = m_Run({"in", "-out", "x"});
        EXPECT_EQ(result.exitStatus, 0) << result;
        EXPECT_EQ(m_Run.directory.Read("x"), m_Whole.substr(0, limit)) << limit;
        // A write that fits in part counts as success; each record after it fails at its header,
        // the record itself only when not a byte of its header or of its data fitted.
        const std::size_t room = limit - m_Start;
        const std::size_t touched = room / (16 + kBytes);
        const std::size_t rest = room % (16 + kBytes);
        const bool counts = rest > 16;  // a part of the data fitted
        const std::size_t failed = kRecords - touched - (counts ? 1 : 0);
        EXPECT_EQ(result.LogWith("ERROR"), std::vector<std::string>(failed, kWriteError)) << limit;
        EXPECT_EQ(result.log.back(), "DEBUG Impex(PCAP) Merger: Done pkts=6 bytes=" +
                                         std::to_string(kFiller + kRecords * kBytes) + " f=x");
    }
}

TEST_F(FullDiskTest, KeepsTheDefaultActionOfTheSizeSignal) {
    m_Run.prepare = [this] { LimitFileSize(m_Start); };
    const ToolResult result = m_Run({"in", "-out", "x"});
    EXPECT_EQ(result.signal, SIGXFSZ) << result;
    EXPECT_EQ(m_Run.directory.Read("x"), m_Whole.substr(0, m_Start));
}

TEST_F(FullDiskTest, RefusesAnOutputWithoutRoomForItsHeader) {
    const ToolResult result = m_Run({"in", "-out", "/dev/full"});
    EXPECT_EQ(result.exitStatus, 253) << result;
    EXPECT_EQ(result.LogWith("ERROR"),
              (std::vector<std::string>{"ERROR Cant write pcap file header",
                                        "ERROR Impex(PCAP) Merger: Unable to open output file /dev/full"}));
}

TEST(KilledRunTest, LeavesABeginningOfWholeWrites) {
    constexpr std::size_t kBytes = 100;
    ToolRun run;
    std::string whole = CaptureBuilder().Record(1, 0, std::string(kBytes, 'x')).Bytes();
    const std::string record = whole.substr(24);
    for (int count = 0; count < 400000; ++count) {
        whole += record;
    }
    run.directory.Write("in", whole);
    const std::string output = run.directory.Path("x");
    run.whileRunning = [&output](int process) {
        std::error_code ignored;
        for (int wait = 0; wait < 200000; ++wait) {
            const auto size = std::filesystem::file_size(output, ignored);
            if (!ignored && size > 100000) {
                break;
            }
            usleep(500);
        }
        kill(process, SIGKILL);
    };
    const ToolResult result = run({"in", "-out", "x"});
    ASSERT_EQ(result.signal, SIGKILL) << result;
    const std::string out = run.directory.Read("x");
    ASSERT_GT(out.size(), 100000U);
    ASSERT_LT(out.size(), whole.size());
    EXPECT_TRUE(out == whole.substr(0, out.size()));
    const std::size_t rest = (out.size() - 24) % (16 + kBytes);
    EXPECT_TRUE(rest == 0 || rest == 16) << "a write was not whole: " << rest;
}

TEST(HostileInputTest, SurvivesARecordThatClaimsMoreThanThereIs) {
    const std::string first = CaptureBuilder().Record(1, 2, "first").Bytes();
    for (const std::uint32_t claim : {6U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        ToolRun run;
        run.directory.Write("in", first + CaptureBuilder().Record(3, 4, claim, 5, "data").Bytes().substr(24));
        const ToolResult result = run({"in", "-out", "x"});
        EXPECT_EQ(result.exitStatus, 0) << result;
        EXPECT_EQ(run.directory.Read("x"), first);
        EXPECT_EQ(result.log[1], "DEBUG Offline : Finished with current pcap file") << result;
    }
}

TEST(HostileInputTest, TakesAFailedAllocationForAFailedRead) {
    const std::string first = CaptureBuilder().Record(1, 2, "first").Bytes();
    ToolRun run;
    run.directory.Write("in", first + CaptureBuilder().Record(3, 4, ~0U, 5, "data").Bytes().substr(24));
    run.directory.Write("other", CaptureBuilder().Record(9, 9, "other").Bytes());
    if (IS_SANITIZED) {
        run.environment = {
            "ASAN_OPTIONS=verify_asan_link_order=0:allocator_may_return_null=1:max_allocation_size_"
            "mb=512"};
    } else {
        run.prepare = [] {
            const rlimit limit{1U << 30, 1U << 30};
            setrlimit(RLIMIT_AS, &limit);
        };
    }
    const ToolResult result = run({"in", "other", "-out", "x"});
    EXPECT_EQ(result.exitStatus, 0) << result;
    EXPECT_EQ(run.directory.Read("x"), CaptureBuilder().Record(1, 2, "first").Record(9, 9, "other").Bytes());
    EXPECT_EQ(result.LogWith("ERROR"),
              (std::vector<std::string>{"ERROR Error reading pcap payload   error = Cannot allocate memory"}))
        << result;
}

}  // namespace
