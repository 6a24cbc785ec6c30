// Signals at the moments that are easily forgotten: before there is a run, and behind its capture.

#include <csignal>
#include <filesystem>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/capture_builder.h"
#include "tests/support/tool_run.h"

namespace {

TEST(ExactSignalsTest, LeavesNoLogWhenOneComesWhileTheLogIsMade) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        ToolRun run;
        run.directory.Write("in", CaptureBuilder().Record(1, 0, "x").Bytes());
        run.environment["SEAMTOOL_LOG_SIGNAL"] = std::to_string(signal);
        const ToolResult result = run("--exact in -out x");
        EXPECT_EQ(result.signal, signal) << result;
        EXPECT_FALSE(result.hasLeftLog) << result;
        EXPECT_FALSE(std::filesystem::exists(run.directory / "x"));
    }
}

TEST(ExactSignalsTest, KeepsACaptureThatWaitsForItsReportOnly) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the sanitizer holds signals back while a FIFO is opened";
#endif
    ToolRun run;
    run.directory.Write("in", CaptureBuilder().Record(1, 0, "x").Bytes());
    mkfifo(run.directory.Path("r.json").c_str(), 0600);  // which nobody reads
    const std::jthread watcher([&] {
        WaitUntil([&] { return std::filesystem::exists(run.directory / "x"); });
        run.EndBy(SIGTERM);
    });
    const ToolResult result = run("--exact --report=r.json in -out x");
    EXPECT_EQ(result.signal, SIGTERM) << result;
    EXPECT_EQ(run.directory.Read("x").size(), 24U + 16 + 1);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(run.directory.Path()), {}), 3) << "nothing else";
}

}  // namespace
