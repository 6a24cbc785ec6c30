// What is left of an exact run in which a call fails: every call of a kind in turn, once and from then on for good,
// until the run passes untouched.

#include <csignal>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/capture_builder.h"
#include "tests/support/tool_run.h"

namespace {

// A "+" stands behind those that fail for good from the one on that fails first.
const std::string kCalls[] = {"poll",  // interrupted for ever, it would be tried for ever
#if !IS_SANITIZED                      // whose builds have an allocator of their own
                              "malloc", "malloc+",
#endif
                              "read",   "read+",   "preadv2", "preadv2+", "write",  "write+", "open",
                              "open+",  "openat",  "openat+", "fcntl",    "fcntl+", "linkat", "linkat+"};

class ExactFaultSweepTest : public testing::TestWithParam<std::string> {
 protected:
    ExactFaultSweepTest() {
        const std::string bytes = CaptureBuilder().Record(1, 0, "one").Record(2, 0, "two").Bytes();
        const std::string next = PcapNgBuilder().Packet(1500000, "next").Bytes();
        const std::string contents[] = {bytes, Gzip(bytes), Bzip2(bytes), Xz(bytes), Zstd(bytes), Lz4(bytes), next};
        for (const std::string& content : contents) {
            m_Inputs += std::to_string(m_Files) + " ";
            m_Run.directory.Write(std::to_string(m_Files++), content);
        }
        // The thread that waits for pipes is woken by a write, which cannot fail.
        m_Inputs += m_Call == "write" ? "0" : "-";
        m_Run.prepare = [] {
            alarm(20);  // against a hang
            // A pipe that holds all there is to read, and is at its end.
            int ends[2];
            const std::string content = TempDir::ReadPath("0");
            static_cast<void>(!pipe2(ends, O_CLOEXEC));
            static_cast<void>(!write(ends[1], content.data(), content.size()));
            dup2(ends[0], STDIN_FILENO);
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
        ToolResult result = m_Run("--exact " + m_Inputs + " -out x");
        m_Failed = m_Descriptors = -1;
        sscanf(report.Read("report").c_str(), "%d %d", &m_Failed, &m_Descriptors);
        return result;
    }

    // Whether the status says what the output holds, and something was said where something is missing.
    [[nodiscard]] bool IsTrue(const ToolResult& result) const {
        const std::string file = m_Run.directory.Read("x");
        // Where standard error cannot be written, or seems closed, nothing can be told.
        const bool isMute = m_Call == "write" || m_Call == "fcntl";
        if (result.exitStatus == 0) {
            return file == m_Whole;
        }
        if (result.exitStatus == 252) {
            return file.starts_with(m_Whole.substr(0, 24)) && file.size() <= m_Whole.size() && result.errors != "";
        }
        return (result.exitStatus == 251 || result.exitStatus == 253) && file.empty() &&
               (result.errors != "" || isMute);
    }

    const std::string m_Call = GetParam().substr(0, GetParam().find('+'));
    ToolRun m_Run;
    int m_Files = 0;
    std::string m_Inputs;
    std::string m_Whole;  // what an untouched run writes
    int m_Failed = 0;
    int m_Descriptors = 0;
    int m_WholeDescriptors = 0;
};

TEST_P(ExactFaultSweepTest, EndsWithAStatusThatIsTrue) {
    // Static objects are made before anything can be told: a run may end abnormally until one tells.
    bool isStarting = m_Call == "malloc";
    for (int k = 1; k == 1 || m_Failed != 0; ++k) {
        const ToolResult result = RunWith(m_Call + " " + std::to_string(k) + GetParam().substr(m_Call.size()));
        SCOPED_TRACE(testing::Message() << "call " << k << " failed\n" << result);
        ASSERT_LT(k, 1000) << "the sweep did not come to its end";
        if (isStarting && m_Failed < 0 && result.signal == SIGABRT) {
            ASSERT_FALSE(std::filesystem::exists(m_Run.directory / "x"));
            continue;
        }
        isStarting &= result.errors.find("memory is exhausted") == std::string::npos;
        ASSERT_TRUE(k == 1 ? m_Failed > 0 : m_Failed >= 0) << "ended abnormally, or no call was there to fail";
        ASSERT_TRUE(m_Failed == 0 ? m_Run.directory.Read("x") == m_Whole : IsTrue(result));
        ASSERT_EQ(m_Descriptors, m_WholeDescriptors);
        const auto left = m_Run.directory.Names();
        ASSERT_EQ(left.size(), static_cast<std::size_t>(m_Files) + left.count("x"));
    }
}

INSTANTIATE_TEST_SUITE_P(Calls, ExactFaultSweepTest, testing::ValuesIn(kCalls), [](const auto& row) {
    return row.param.ends_with('+') ? row.param.substr(0, row.param.size() - 1) + "ForGood" : row.param;
});

}  // namespace
