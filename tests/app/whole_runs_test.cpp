// Runs of some size: what one process does with its output, its memory and its descriptors.

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include "tests/support/capture_builder.h"
#include "tests/support/libpcap_reader.h"
#include "tests/support/tool_run.h"

namespace {

TEST(WholeRunTest, ReadsEverySampleAndNothingElseReadsItsOutputDifferently) {
    ToolRun run;
    std::vector<std::string> arguments;
    for (const auto& entry : std::filesystem::directory_iterator(SAMPLES_PATH)) {
        if (entry.path().extension() != ".md") {
            arguments.push_back(entry.path());
        }
    }
    ASSERT_EQ(arguments.size(), 5U);
    arguments.insert(arguments.end(), {"-out", "x"});
    for (const char* const mode : {"", "-squish", "-squish10"}) {
        std::vector<std::string> all = arguments;
        if (*mode != '\0') {
            all.insert(all.begin(), mode);
        }
        std::filesystem::remove(run.directory.Path("x"));
        const ToolResult result = run(all);
        ASSERT_EQ(result.exitStatus, 0) << result;
        EXPECT_TRUE(result.LogWith("ERROR").empty()) << result;
        EXPECT_TRUE(RewrittenFromLibpcap(run.directory.Path("x")) == run.directory.Read("x")) << mode;
        // A file header, and for each record a header and its bytes, as the summary line has it.
        std::size_t packets = 0;
        std::size_t bytes = 0;
        ASSERT_EQ(sscanf(result.log.back().c_str(), "DEBUG Impex(PCAP) Merger: Done pkts=%zu bytes=%zu f=x", &packets,
                         &bytes),
                  2)
            << result;
        EXPECT_EQ(std::filesystem::file_size(run.directory.Path("x")), 24 + 16 * packets + bytes);
        EXPECT_GE(packets, *mode == '\0' ? 700U : 1U) << result;
    }
}

// Two inputs, so that the output time is not the captured one.
TEST(WholeRunTest, TellsOfItsProgressEveryMillionRecords) {
    ToolRun run;
    {
        const std::string record = CaptureBuilder().Record(5, 250000, "x").Bytes().substr(24);
        std::ofstream file(run.directory.Path("in"), std::ios::binary);
        file << CaptureBuilder().Record(0, 0, "y").Bytes();
        for (int count = 0; count < 2'000'010; ++count) {
            file << record;
        }
    }
    run.directory.Write("base", CaptureBuilder().Record(100, 7, "z").Bytes());
    run.environment = {"TZ=LHST-10:30LHDT-11,M10.1.0,M4.1.0"};
    std::string seen;  // what is there as soon as there is anything
    run.whileRunning = [&seen](int process) {
        const std::filesystem::path output = "/proc/" + std::to_string(process) + "/fd/1";
        std::error_code gone;
        while (seen.empty() && kill(process, 0) == 0) {
            usleep(500);
            const std::string file = std::filesystem::read_symlink(output, gone);
            seen = file.ends_with("/output") ? TempDir::ReadPath(file) : "";
            if (gone) {
                break;
            }
        }
    };
    const ToolResult result = run({"-squish", "base", "in", "-out", "x"});
    const std::string end = " Bytes Time Thu Jan  1 11:01:45 1970-250007\n";
    const std::string first = "EOF on base, bye ! \n1000000 Packets  1000000" + end;
    EXPECT_EQ(seen, first) << "the line is on its way as soon as it is printed";
    EXPECT_EQ(result.output, first + "2000000 Packets  2000000" + end + "EOF on in, bye ! \n");
}

TEST(WholeRunTest, UsesAsManyInputsAsTheHardLimitAllows) {
    rlimit hard{};
    getrlimit(RLIMIT_NOFILE, &hard);
    const int inputs = static_cast<int>(std::min<rlim_t>(1200, hard.rlim_max - 24));
    ToolRun run;
    std::vector<std::string> arguments;
    CaptureBuilder expected;
    for (int input = 0; input < inputs; ++input) {
        const std::string name = "in" + std::to_string(input);
        run.directory.Write(name, CaptureBuilder().Record(input / 2, 0, name).Bytes());
        expected.Record(input / 2, 0, name);
        arguments.push_back(name);
    }
    arguments.insert(arguments.end(), {"-out", "x"});
    run.prepare = [] {
        rlimit limit{};
        getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = 64;
        setrlimit(RLIMIT_NOFILE, &limit);
    };
    const ToolResult result = run(arguments);
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_TRUE(result.LogWith("ERROR").empty()) << result.LogWith("ERROR").front();
    EXPECT_TRUE(run.directory.Read("x") == expected.Bytes());
}

TEST(WholeRunTest, NeedsNoMoreMemoryForLongerInputs) {
    const auto peak = [](int records) {
        ToolRun run;
        std::ofstream file(run.directory.Path("in"), std::ios::binary);
        file << CaptureBuilder().Record(1, 0, "x").Bytes();
        const std::string record = CaptureBuilder().Record(2, 0, std::string(1500, 'x')).Bytes().substr(24);
        for (int count = 0; count < records; ++count) {
            file << record;
        }
        file.close();
        const ToolResult result = run({"in", "in", "-out", "x"});
        EXPECT_EQ(result.exitStatus, 0) << result;
        return result.peakKilobytes;
    };
    EXPECT_LT(peak(40000), peak(1000) + 4096) << "120 MB against 3 MB";
}

TEST(WholeRunTest, KeepsMessagesOutOfTheOutputWhenTheStandardStreamsAreClosed) {
    ToolRun run;
    run.prepare = [] {
        close(STDOUT_FILENO);
        close(STDERR_FILENO);
    };
    // What the abort says would be the second thing in the file.
    const ToolResult result = run({"-squish", "missing", "-out", "x"});
    EXPECT_EQ(result.signal, SIGABRT) << result;
    EXPECT_EQ(run.directory.Read("x"), CaptureBuilder().Bytes());
    EXPECT_TRUE(result.log.empty()) << result;
}

}  // namespace
