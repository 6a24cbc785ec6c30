// What a person sees on a terminal while a run goes on and when it ends, and that a terminal that was
// stopped holds up no signal.

#include <csignal>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/capture_builder.h"
#include "tests/support/terminal.h"
#include "tests/support/tool_run.h"

namespace {

const std::string kWipe = "\r\x1B[K";
const std::string kLine = kWipe + "seamtool: 0 bytes, 0 records, 0 bytes/s";

// A run whose standard error is a terminal, and which waits for a FIFO.
struct TerminalRun {
    TerminalRun() {
        mkfifo(run.directory.Path("fifo").c_str(), 0600);
        run.prepare = [this] { terminal.BecomeStandardError(); };
    }

    // `meanwhile` is called once the tool has opened the FIFO, and is given it to write to.
    ToolResult operator()(const std::string& arguments, const std::function<void(int)>& meanwhile) {
        const std::jthread peer([&] {
            const MiscUtils::UniqueFd fifo(open(run.directory.Path("fifo").c_str(), O_WRONLY | O_CLOEXEC));
            meanwhile(fifo.Get());
        });
        return run("--exact " + arguments);
    }

    ToolRun run;
    Terminal terminal;
};

TEST(ExactTerminalTest, ShowsALineOfProgressUntilTheSummary) {
    TerminalRun run;
    const std::string capture = CaptureBuilder().Record(5, 0, "f").Bytes();
    const ToolResult result = run("fifo missing -out x", [&](int fifo) {
        run.terminal.WaitFor(kLine);
        EXPECT_EQ(write(fifo, capture.data(), capture.size()), static_cast<ssize_t>(capture.size()));
    });
    EXPECT_EQ(result.exitStatus, 252) << result;
    const std::string& text = run.terminal.Text();
    EXPECT_TRUE(
        text.starts_with("seamtool: missing: left out: cannot be opened: No such file or directory\r\n" + kLine))
        << text;
    EXPECT_TRUE(text.ends_with(kWipe +
                               "seamtool: 1 record, 41 bytes, from 1970-01-01 00:00:05 to 1970-01-01 00:00:05 UTC"
                               " (0 s), of 1 input (1 left out), in x\r\n"))
        << text;
}

TEST(ExactTerminalTest, ShowsNothingWhereNothingIsWanted) {
    TerminalRun run;
    const ToolResult result = run("--quiet fifo -out x", [&](int fifo) {
        std::this_thread::sleep_for(std::chrono::milliseconds(500));  // more than two lines' time
        const std::string capture = CaptureBuilder().Bytes();
        EXPECT_EQ(write(fifo, capture.data(), capture.size()), static_cast<ssize_t>(capture.size()));
    });
    EXPECT_EQ(result.exitStatus, 0) << result;
    EXPECT_EQ(run.terminal.Text(), "");
}

TEST(ExactTerminalTest, EndsByASignalWhateverTheTerminalDoes) {
    struct Row {
        const char* about;
        const char* arguments;
        bool isDrawnBefore;  // the signal comes once a line is on the terminal
        bool isStopped;
        std::string end;  // of what stands there at last
    };
    const Row rows[] = {
        {"the line goes away", "fifo -out x", true, false, kWipe},
        {"the line cannot go away", "fifo -out x", true, true, kLine},
        {"no line could be drawn", "fifo -out x", false, true, ""},
        {"a message waits to be written", "fifo missing -out x", false, true, ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.about);
        TerminalRun run;
        if (row.isStopped && !row.isDrawnBefore) {
            run.terminal.Stop();
        }
        const ToolResult result = run(row.arguments, [&](int /*fifo*/) {
            if (row.isDrawnBefore) {
                run.terminal.WaitFor(kLine);
            }
            if (row.isStopped) {
                run.terminal.Stop();
                std::this_thread::sleep_for(std::chrono::milliseconds(500));  // a line is tried meanwhile
            }
            run.run.EndBy(SIGTERM);
        });
        EXPECT_EQ(result.signal, SIGTERM) << result;
        EXPECT_FALSE(std::filesystem::exists(run.run.directory / "x"));
        run.terminal.GoOn();
        const std::string& text = run.terminal.Text();
        EXPECT_TRUE(text.ends_with(row.end) && text.empty() == !row.isDrawnBefore) << text;
    }
}

}  // namespace
