// What comes upon a run while it goes on: signals, inputs and names that change, and a terminal that shows it or not.

#include <poll.h>
#include <stdlib.h>
#include <termios.h>

#include "tests/app/exact_run.h"

namespace {

constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

TEST(ExactDuringRunsTest, EndsBySignalsAndLeavesNothing) {
    for (const int signal : kEndingSignals) {
        ExactRun run;
        const auto before = run.directory.Names();
        const ToolResult late = run.WhileItReads("odd fifo -out x", [&](int fifo) {
            Send(fifo, At("5").substr(0, 30));
            run.EndBy(signal);
        });
        run.environment["SEAMTOOL_LOG_SIGNAL"] = std::to_string(signal);
        for (const ToolResult& result : {late, run.Exact("odd -out x")}) {
            EXPECT_EQ(result.signal, signal) << result;
            EXPECT_EQ(result.errors, "");
            EXPECT_EQ(run.directory.Names(), before);
        }
    }
}

TEST(ExactDuringRunsTest, GoesOnAfterSignalsThatItsStarterIgnores) {
    for (const int signal : kEndingSignals) {
        ExactRun run;
        run.prepare = [=] { std::signal(signal, SIG_IGN); };
        const ToolResult result = run.WhileItReads("odd fifo -out x", [&](int fifo) {
            run.Signal(signal);
            Send(fifo, At("5"));
        });
        EXPECT_EQ(result.exitStatus, 0) << result;
        EXPECT_EQ(TextOf(run.directory.Read("x")), "135");
    }
}

#if !defined(__SANITIZE_THREAD__)  // which holds signals back while a FIFO is opened
TEST(ExactDuringRunsTest, KeepsACaptureThatWaitsForItsReportOnly) {
    const ExactRun run;
    auto expected = run.directory.Names();
    expected.insert("x");
    const std::jthread watcher([&] {
        WaitUntil([&] { return std::filesystem::exists(run.directory / "x"); });
        run.EndBy(SIGTERM);
    });
    const ToolResult result = run("--exact --report=fifo.json odd -out x");  // which nobody reads
    EXPECT_EQ(result.signal, SIGTERM) << result;
    EXPECT_EQ(TextOf(run.directory.Read("x")), "13");
    EXPECT_EQ(run.directory.Names(), expected);
}
#endif

TEST(ExactDuringRunsTest, LeavesAloneWhatComesIntoBeing) {
    const ExactRun run;
    const ToolResult result = run.WhileItReads("odd fifo -out x", [&](int fifo) {
        run.directory.Write("x", "somebody else's");
        Send(fifo, At("2"));
    });
    EXPECT_EQ(result.exitStatus, 254) << result;
    EXPECT_EQ(result.errors, "seamtool: x: came into being during the run; the finished capture is x.1\n");
    EXPECT_EQ(run.directory.Read("x"), "somebody else's");
    EXPECT_EQ(TextOf(run.directory.Read("x.1")), "123");
}

TEST(ExactDuringRunsTest, NamesInputsThatChangeAndNotesWhatCameTooLate) {
    constexpr std::size_t kRecordSize = 100'000;
    const std::string record = CaptureBuilder().Record(7, 0, std::string(kRecordSize - 16, 'r')).Bytes().substr(24);
    std::string content = CaptureBuilder().Bytes();
    for (int count = 0; count < 60; ++count) {  // more than is read ahead
        content += record;
    }
    constexpr std::size_t kUnread = 24 + 50 * kRecordSize;  // where a record begins
    const std::string changed = "seamtool: file: it changed during the run\n";
    const std::string grew = "seamtool: file: it grew during the run: 100000 bytes came too late\n";
    const struct {
        const char* about;
        std::function<void(const std::string& path)> change;
        int status;
        std::string says;  // of the file, among the messages
    } rows[] = {
        {"is cut", [](const auto& path) { std::filesystem::resize_file(path, kUnread); }, 252, changed},
        {"is overwritten", [&](const auto& path) { std::ofstream(path, std::ios::in).seekp(kUnread) << record; }, 252,
         changed},
        {"grows", [&](const auto& path) { std::ofstream(path, std::ios::app) << record; }, 0, grew},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.about);
        const ExactRun run;
        const std::string path = run.directory.Write("file", content);
        const timespec longAgo[] = {{1000, 0}, {1000, 0}};
        utimensat(AT_FDCWD, path.c_str(), longAgo, 0);
        const ToolResult result = run.WhileItReads("file fifo -out x", [&](int fifo) {
            row.change(path);
            Send(fifo, At("1"));
        });
        EXPECT_EQ(result.exitStatus, row.status) << result;
        EXPECT_NE(result.errors.find(row.says), std::string::npos) << result;
        EXPECT_TRUE(row.status != 0 || run.directory.Read("x").size() == content.size() + 17)
            << "the file as it was, and the FIFO's";
    }
}

constexpr std::chrono::milliseconds kTwoLinesTime(500);
const std::string kWipe = "\r\x1B[K";
const std::string kLine = kWipe + "seamtool: 0 bytes, 0 records, 0 bytes/s";

// A run whose standard error is the one side of a pseudo-terminal; the test sees the other.
class TerminalRun : public ExactRun {
 public:
    TerminalRun() : m_Screen(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        unlockpt(m_Screen.Get());
        m_Tool.Reset(open(ptsname(m_Screen.Get()), O_RDWR | O_NOCTTY | O_CLOEXEC));
        prepare = [this] { dup2(m_Tool.Get(), STDERR_FILENO); };
    }

    // From here on nothing that is written to it passes, as behind Ctrl-S; the second lets it go on.
    void Stop() const { tcflow(m_Tool.Get(), TCOOFF); }
    void GoOn() const { tcflow(m_Tool.Get(), TCOON); }

    // All that was written so far.
    [[nodiscard]] const std::string& Text() {
        pollfd polled{.fd = m_Screen.Get(), .events = POLLIN, .revents = 0};
        char part[4096];
        while (poll(&polled, 1, 50) > 0) {
            m_Text.append(part, static_cast<std::size_t>(std::max<ssize_t>(read(polled.fd, part, sizeof part), 0)));
        }
        return m_Text;
    }

    void WaitForLine() {
        WaitUntil([&] { return Text().find(kLine) != std::string::npos; });
    }

 private:
    MiscUtils::UniqueFd m_Screen;
    MiscUtils::UniqueFd m_Tool;
    std::string m_Text;
};

TEST(ExactDuringRunsTest, ShowsALineOfProgressUntilTheSummary) {
    TerminalRun run;
    const ToolResult result = run.WhileItReads("fifo gone -out x", [&](int fifo) {
        run.WaitForLine();
        Send(fifo, At("5"));
    });
    const std::string& text = run.Text();
    EXPECT_EQ(result.exitStatus, 252) << result;
    EXPECT_TRUE(text.starts_with("seamtool: gone: left out: cannot be opened: No such file or directory\r\n" + kLine) &&
                text.ends_with(kWipe + "seamtool: 1 record, 41 bytes, from 1970-01-01 00:00:05 to 1970-01-01 00:00:05 "
                                       "UTC (0 s), of 1 input (1 left out), in x\r\n"))
        << text;
}

TEST(ExactDuringRunsTest, ShowsNothingWhereNothingIsWanted) {
    TerminalRun run;
    const ToolResult result = run.WhileItReads("--quiet fifo -out x", [&](int fifo) {
        std::this_thread::sleep_for(kTwoLinesTime);
        Send(fifo, At(""));
    });
    EXPECT_EQ(result.exitStatus, 0) << result;
    EXPECT_EQ(run.Text(), "");
}

TEST(ExactDuringRunsTest, EndsByASignalWhateverTheTerminalDoes) {
    const struct {
        const char* about;
        const char* arguments;
        bool isDrawnBefore;  // the signal comes once a line is on the terminal
        bool isStopped;
        std::string end;  // of what stands there at last
    } rows[] = {
        {"the line goes away", "fifo -out x", true, false, kWipe},
        {"the line cannot go away", "fifo -out x", true, true, kLine},
        {"no line could be drawn", "fifo -out x", false, true, ""},
        {"a message waits to be written", "fifo gone -out x", false, true, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.about);
        TerminalRun run;
        if (!row.isDrawnBefore) {
            run.Stop();
        }
        const ToolResult result = run.WhileItReads(row.arguments, [&](int /*fifo*/) {
            if (row.isDrawnBefore) {
                run.WaitForLine();
            }
            if (row.isStopped) {
                run.Stop();
                std::this_thread::sleep_for(kTwoLinesTime);
            }
            run.EndBy(SIGTERM);
        });
        EXPECT_EQ(result.signal, SIGTERM) << result;
        EXPECT_FALSE(std::filesystem::exists(run.directory / "x"));
        run.GoOn();
        EXPECT_TRUE(run.Text().ends_with(row.end) && run.Text().empty() == !row.isDrawnBefore) << run.Text();
    }
}

}  // namespace
