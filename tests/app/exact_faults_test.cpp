// What is left of an exact run in which a call fails: every call of a kind in turn, once and from then on for good,
// until the run passes untouched.

#include <csignal>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/capture_builder.h"
#include "tests/support/tool_run.h"

namespace {

class ExactFaultSweepTest : public testing::TestWithParam<const char*> {
 protected:
    ExactFaultSweepTest() {
        const std::string bytes = CaptureBuilder().Record(1, 0, "one").Record(2, 0, "two").Bytes();
        const std::string packed[] = {bytes,
                                      Gzip(bytes),
                                      Bzip2(bytes),
                                      Xz(bytes),
                                      Zstd(bytes),
                                      Lz4(bytes),
                                      PcapNgBuilder().Packet(1500000, "next").Bytes()};
        for (const std::string& content : packed) {
            m_Run.directory.Write(std::to_string(m_Inputs++), content);
            m_Names += std::to_string(m_Inputs - 1) + ' ';
        }
        m_Run.directory.Write("pipe", bytes);
        // The thread that waits for pipes is woken by a write, which cannot fail.
        m_Names += GetParam() == std::string("write") ? "pipe" : "-";
        m_Run.prepare = [] {
            alarm(20);  // against a hang
            // A pipe that holds all there is to read, and is at its end.
            int ends[2];
            char content[200];
            static_cast<void>(!pipe(ends));
            std::ifstream file("pipe");
            file.read(content, sizeof content);
            static_cast<void>(!write(ends[1], content, static_cast<std::size_t>(file.gcount())));
            dup2(ends[0], STDIN_FILENO);
            close(ends[0]);
            close(ends[1]);
        };
        EXPECT_EQ(RunWith("none 1").exitStatus, 0);
        m_Whole = m_Run.directory.Read("x");
        EXPECT_EQ(m_Whole.size(), 24U + 7 * 2 * 19 + 20);
        m_WholeDescriptors = m_Descriptors;
    }

    // Leaves in m_Failed how many calls failed, in m_Descriptors what was open at the end; -1 after an abnormal end.
    ToolResult RunWith(const std::string& fault) {
        const TempDir report;
        m_Run.environment["LD_PRELOAD"] = LOG_WITNESS_PATH ":" FAULT_INJECTOR_PATH;
        m_Run.environment["SEAMTOOL_FAULT"] = fault;
        m_Run.environment["SEAMTOOL_FAULT_REPORT"] = report / "report";
        std::filesystem::remove(m_Run.directory / "x");
        ToolResult result = m_Run("--exact " + m_Names + " -out x");
        m_Failed = m_Descriptors = -1;
        sscanf(report.Read("report").c_str(), "%d %d", &m_Failed, &m_Descriptors);
        return result;
    }

    ToolRun m_Run;
    int m_Inputs = 0;
    std::string m_Names;
    std::string m_Whole;  // what an untouched run writes
    int m_Failed = 0;
    int m_Descriptors = 0;
    int m_WholeDescriptors = 0;
};

TEST_P(ExactFaultSweepTest, EndsWithAStatusThatIsTrue) {
    const bool isMute = GetParam() == std::string("write") || GetParam() == std::string("fcntl");
    for (const char* const forGood : {"", "+"}) {
        if (GetParam() + std::string(forGood) == "poll+") {
            continue;  // interrupted for ever, it is tried for ever
        }
        bool isStarting = true;
        for (int k = 1;; ++k) {
            const std::string fault = std::string(GetParam()) + " " + std::to_string(k) + forGood;
            const ToolResult result = RunWith(fault);
            const std::string file = m_Run.directory.Read("x");
            ASSERT_LT(k, 1000) << "the sweep did not come to its end";
            if (isStarting && m_Failed < 0 && GetParam() == std::string("malloc") && result.signal == SIGABRT) {
                ASSERT_EQ(file, "") << fault;  // static objects are made before anything can be told
                continue;
            }
            isStarting &= result.errors.find("memory is exhausted") == std::string::npos;
            ASSERT_GE(m_Failed, 0) << fault << "\n" << result;
            if (m_Failed == 0) {
                EXPECT_GT(k, 1) << "no call was there to fail";
                EXPECT_TRUE(file == m_Whole) << "an untouched run";
                break;
            }
            switch (result.exitStatus) {
                case 0:
                    ASSERT_TRUE(file == m_Whole) << fault << "\n" << result;
                    break;
                case 252:  // what is missing is named, and all else is there
                    ASSERT_TRUE(file.starts_with(m_Whole.substr(0, 24))) << fault << "\n" << result;
                    ASSERT_LE(file.size(), m_Whole.size()) << fault << "\n" << result;
                    ASSERT_NE(result.errors, "") << fault << "\n" << result;
                    break;
                default:
                    ASSERT_TRUE(result.exitStatus == 251 || result.exitStatus == 253) << fault << "\n" << result;
                    ASSERT_EQ(file, "") << fault << "\n" << result;
                    // Where standard error cannot be written, or seems closed, nothing can be told.
                    ASSERT_TRUE(result.errors != "" || isMute) << fault << "\n" << result;
            }
            ASSERT_EQ(m_Descriptors, m_WholeDescriptors) << fault << "\n" << result;
            const auto left = std::filesystem::directory_iterator(m_Run.directory.Path());
            ASSERT_EQ(std::distance(begin(left), end(left)), m_Inputs + 1 + (file.empty() ? 0 : 1)) << fault;
        }
    }
}

const char* const kCalls[] = {"read",  "preadv2", "poll", "write", "open", "openat", "fcntl", "linkat",
#if !IS_SANITIZED  // whose builds have an allocator of their own
                              "malloc"
#endif
};

INSTANTIATE_TEST_SUITE_P(Calls, ExactFaultSweepTest, testing::ValuesIn(kCalls),
                         [](const auto& row) { return std::string(row.param); });

}  // namespace
