// A run that its program stops, wherever it is.

#include <atomic>
#include <csignal>
#include <thread>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/capture_builder.h"
#include "tests/support/temp_dir.h"
#include "velora/exact/run.h"

namespace velora::exact {
namespace {

struct Heard final : RunListener {
    void OnInput(std::size_t /*input*/, const capture::Problem& problem) override { text += problem.text; }
    void OnOutput(const std::string& line) override { text += line; }
    std::string text;
};

// One input is a FIFO that is given more than a block, and then neither more nor an end.
TEST(StoppingTest, LeavesNothingOrTellsThatAPipeHasAPart) {
    std::signal(SIGPIPE, SIG_IGN);
    CaptureBuilder file;
    for (int record = 0; record < 4500; ++record) {
        file.Record(1, 0, std::string(984, 'r'));
    }
    const struct {
        const char* about;
        bool isPipe = false;   // the output
        bool hasBegun = true;  // else the stop comes first
        const char* told = "stopped: nothing was written";
    } rows[] = {
        {.about = "before anything", .hasBegun = false},
        {.about = "on a silent pipe"},
        {.about = "behind a part", .isPipe = true, .told = "stopped: the output is not complete"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.about);
        const TempDir directory;
        ExactJob job;
        job.inputs = {{directory.Write("other", CaptureBuilder().Record(0, 0, "x").Bytes())}, {directory / "silent"}};
        job.output = directory / "out";
        ASSERT_EQ(mkfifo(job.inputs[1].path.c_str(), 0600), 0);
        ASSERT_EQ(row.isPipe ? mkfifo(job.output.c_str(), 0600) : 0, 0);
        const auto names = directory.Names();
        std::stop_source stop;
        output::RunProgress progress;
        std::atomic<bool> isReadFrom = !row.isPipe, isOver = false;
        std::jthread stopper, writer, reader;
        if (row.hasBegun) {
            writer = std::jthread([&] {
                std::ofstream fifo(job.inputs[1].path, std::ios::binary);
                fifo << file.Bytes() << std::flush;
                isOver.wait(false);
            });
            stopper = std::jthread([&] {
                while (progress.records == 0 || !isReadFrom) {
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
                stop.request_stop();
            });
        } else {
            stop.request_stop();
        }
        if (row.isPipe) {
            reader = std::jthread([&] {
                std::ifstream fifo(job.output, std::ios::binary);
                for (char byte = 0; fifo.get(byte);) {  // until it meets an end
                    isReadFrom = true;
                }
            });
        }
        Heard heard;
        const RunReport report = exact::Run(job, heard, progress, nullptr, stop.get_token());
        isOver = true;
        isOver.notify_all();
        EXPECT_EQ(report.status, Status::kStopped);
        EXPECT_FALSE(report.IsWritten());
        EXPECT_EQ(report.outputText, row.told);
        EXPECT_EQ(heard.text, row.told);
        EXPECT_EQ(directory.Names(), names);
    }
}

}  // namespace
}  // namespace velora::exact
