// Runs of some size: what one process does with its output, its memory and its descriptors.

#include <csignal>

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/capture_builder.h"
#include "tests/support/libpcap_reader.h"
#include "tests/support/limits.h"
#include "tests/support/tool_run.h"

namespace {

// Appends `count` records to a file.
void Append(const std::string& path, int count, const CaptureBuilder& record) {
    std::ofstream file(path, std::ios::binary | std::ios::app);
    for (const std::string bytes = record.Bytes().substr(24); count > 0; --count) {
        file << bytes;
    }
}

TEST(WholeRunTest, ReadsEverySampleAndNothingElseReadsItsOutputDifferently) {
    ToolRun run;
    std::filesystem::copy(SAMPLES_PATH, run.directory.Path());
    const std::string samples = "bulk.pcap.bz2 dns.pcapng echo-be.pcap icmp.pcap.gz web.pcap ";
    for (const std::string mode : {"", "-squish ", "-squish10 "}) {
        std::filesystem::remove(run.directory / "x");
        const ToolResult result = run(mode + samples + "-out x");
        ASSERT_EQ(result.exitStatus, 0) << result;
        EXPECT_TRUE(result.LogWith("ERROR").empty()) << result;
        EXPECT_TRUE(RewrittenFromLibpcap(run.directory / "x") == run.directory.Read("x")) << mode;
        EXPECT_EQ(result.LogWith("DEBUG Impex(PCAP) Merger:  EOF: on").size(), 5U) << result;
        EXPECT_GE(std::filesystem::file_size(run.directory / "x"), 286896U) << "as large as all samples";
    }
}

// Two inputs, so that the output time is not the captured one. A limit on the size of files kills the run: what it
// has printed and written by then is there.
TEST(WholeRunTest, TellsOfItsProgressEveryMillionRecords) {
    ToolRun run;
    run.directory.Write("base", CaptureBuilder().Record(100, 7, "z").Bytes());
    Append(run.directory.Write("in", CaptureBuilder().Record(0, 0, "y").Bytes()), 2'000'010,
           CaptureBuilder().Record(5, 250000, "x"));
    run.environment["TZ"] = "LHST-10:30LHDT-11,M10.1.0,M4.1.0";
    constexpr rlim_t kLimit = 24 + 2'000'005 * (16 + 1);
    run.prepare = [] {
        static const ScopedLimit kSize(RLIMIT_FSIZE, kLimit);
        std::signal(SIGXFSZ, SIG_DFL);
    };
    const ToolResult result = run("-squish base in -out x");
    EXPECT_EQ(result.signal, SIGXFSZ) << result;
    EXPECT_EQ(std::filesystem::file_size(run.directory / "x"), kLimit);
    const std::string end = " Bytes Time Thu Jan  1 11:01:45 1970-250007\n";
    EXPECT_EQ(result.output, "EOF on base, bye ! \n1000000 Packets  1000000" + end + "2000000 Packets  2000000" + end);
}

// The standard streams are closed: what is said on them, here more than a buffer holds, must turn up in no file.
TEST(WholeRunTest, UsesAsManyInputsAsTheHardLimitAllowsAndKeepsMessagesOutOfItsFiles) {
    constexpr std::size_t kInputs = 300;
    ToolRun run;
    run.directory.Write("in", CaptureBuilder().Record(1, 0, "x").Bytes());
    std::string arguments = "-squish missing ";
    CaptureBuilder expected;
    for (std::size_t input = 0; input < kInputs; ++input) {
        expected.Record(1, 0, "x");
        arguments += "in ";
    }
    run.prepare = [] {
        static const ScopedLimit kDescriptors(RLIMIT_NOFILE, 64);
        close(STDOUT_FILENO);
        close(STDERR_FILENO);
    };
    const ToolResult result = run(arguments + "-out x");
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.log.size(), 3 * kInputs + 1) << result;
    EXPECT_TRUE(run.directory.Read("x") == expected.Bytes());
}

TEST(WholeRunTest, NeedsNoMoreMemoryForLongerInputs) {
    const auto peak = [](int records) {
        ToolRun run;
        Append(run.directory.Write("in", CaptureBuilder().Record(1, 0, "x").Bytes()), records,
               CaptureBuilder().Record(2, 0, std::string(1500, 'x')));
        const ToolResult result = run("in in -out x");
        EXPECT_EQ(result.exitStatus, 0) << result;
        return result.peakKilobytes;
    };
    EXPECT_LT(peak(40000), peak(1000) + 4096) << "120 MB against 3 MB";
}

}  // namespace
