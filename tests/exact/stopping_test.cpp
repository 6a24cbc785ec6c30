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

struct StoppingTest : testing::Test, RunListener {
    StoppingTest() { std::signal(SIGPIPE, SIG_IGN); }
    void OnInput(std::size_t /*input*/, const capture::Problem& problem) override { told += problem.text + "\n"; }
    void OnOutput(const std::string& text) override { told += text + "\n"; }

    // A FIFO that a thread writes so many bytes of a capture into, and then neither more nor an end.
    std::string SilentAfter(std::size_t count) {
        const std::string path = directory / "silent";
        EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
        writer = std::jthread([this, path, count] {
            CaptureBuilder file;
            for (std::size_t size = 0; size < count; size += 1000) {
                file.Record(1, 0, std::string(984, 'r'));
            }
            std::ofstream fifo(path, std::ios::binary);
            fifo << file.Bytes().substr(0, count) << std::flush;
            isSilent = true;
            isOver.wait(false);
        });
        return path;
    }

    Status Run(const std::string& input, const std::string& name) {
        ExactJob job;
        job.inputs = {{directory.Write("other", CaptureBuilder().Record(0, 0, "x").Bytes())}, {input}};
        job.output = directory / name;
        const RunReport report = exact::Run(job, *this, progress, nullptr, stop.get_token());
        EXPECT_FALSE(report.IsWritten());
        EXPECT_EQ(report.outputText + "\n", told);
        isOver = true;
        isOver.notify_all();
        return report.status;
    }

    void StopWhen(std::function<bool()> isSo) {
        stopper = std::jthread([this, isSo = std::move(isSo)] {
            while (!isSo()) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            stop.request_stop();
        });
    }

    TempDir directory;
    std::string told;
    output::RunProgress progress;
    std::stop_source stop;
    std::atomic<bool> isSilent = false, isOver = false;
    std::jthread writer, stopper, reader;
};

TEST_F(StoppingTest, LeavesNothingBeforeAnything) {
    stop.request_stop();
    EXPECT_EQ(Run(directory.Write("second", CaptureBuilder().Record(1, 0, "y").Bytes()), "out"), Status::kStopped);
    EXPECT_EQ(told, "stopped: nothing was written\n");
    EXPECT_FALSE(directory.Names().contains("out"));
}

TEST_F(StoppingTest, LeavesNothingWhereAPipeIsSilent) {
    StopWhen([this] { return isSilent && progress.records > 0; });
    EXPECT_EQ(Run(SilentAfter(4'500'000), "out"), Status::kStopped);
    EXPECT_EQ(told, "stopped: nothing was written\n");
    EXPECT_EQ(directory.Names(), (std::set<std::string>{"other", "silent"}));
}

TEST_F(StoppingTest, TellsThatAPipeHasAPart) {
    const std::string path = directory / "out";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    std::atomic<bool> hasBytes = false;
    reader = std::jthread([&] {
        std::ifstream fifo(path, std::ios::binary);
        for (char byte = 0; fifo.get(byte);) {
            hasBytes = true;
        }
    });
    StopWhen([&] { return hasBytes.load(); });
    EXPECT_EQ(Run(SilentAfter(4'500'000), "out"), Status::kStopped);
    EXPECT_EQ(told, "stopped: the output is not complete\n");
    reader.join();  // it has met an end
}

}  // namespace
}  // namespace velora::exact
