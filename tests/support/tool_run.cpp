#include "tests/support/tool_run.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <sstream>
#include <thread>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

Lines ToolResult::LogWith(const std::string& prefix) const {
    Lines lines;
    std::ranges::copy_if(log, std::back_inserter(lines), [&](const auto& line) { return line.starts_with(prefix); });
    return lines;
}

std::ostream& operator<<(std::ostream& out, const ToolResult& result) {
    out << "command: " << result.command << "\nexit status " << result.exitStatus << ", signal " << result.signal
        << "\n--- output\n"
        << result.output << "--- errors\n"
        << result.errors << "--- log\n";
    std::ranges::copy(result.log, std::ostream_iterator<std::string>(out, "\n"));
    return out;
}

void WaitUntil(const std::function<bool()>& holds) {
    for (int attempt = 0; attempt < 1000 && !holds(); ++attempt) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

ToolResult ToolRun::operator()(const std::string& arguments) const {
    const TempDir streams;
    std::istringstream words(arguments);
    Lines texts{std::istream_iterator<std::string>(words), {}};
    std::ranges::replace(texts, "''", "");
    texts.insert(texts.begin(), SEAMTOOL_PATH);
    std::vector<char*> argv(texts.size() + 1);
    std::ranges::transform(texts, argv.begin(), [](std::string& text) { return text.data(); });

    const pid_t child = fork();
    if (child == 0) {
        dup2(open(streams.Path("output").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600), STDOUT_FILENO);
        dup2(open(streams.Path("errors").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600), STDERR_FILENO);
        std::signal(SIGPIPE, SIG_DFL);  // which a test may ignore
        clearenv();
        for (const auto& [name, value] : environment) {
            setenv(name.c_str(), value.c_str(), 1);
        }
        setenv("SEAMTOOL_LOG_WITNESS", streams.Path("witness").c_str(), 1);
        if (chdir(directory.Path().c_str()) == 0) {
            prepare();
            execv(SEAMTOOL_PATH, argv.data());
        }
        _exit(126);
    }
    m_Child = child;
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);

    std::error_code noLog;
    const std::string logPath = std::filesystem::read_symlink(streams / "witness", noLog);
    const Lines log = LogLines(logPath);
    const bool hasLeftLog = unlink(logPath.c_str()) == 0;
    return {.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1,
            .signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0,
            .output = streams.Read("output"),
            .errors = streams.Read("errors"),
            .log = log,
            .hasLeftLog = hasLeftLog,
            .peakKilobytes = usage.ru_maxrss,
            .command = "seamtool " + arguments};
}

bool ToolRun::Signal(int signal) const {
    WaitUntil([this] { return m_Child != 0; });
    return m_Child > 0 && kill(m_Child, signal) == 0;  // 0 would mean all of the test
}

void ToolRun::EndBy(int signal) const {
    Signal(signal);
    WaitUntil([this] { return !Signal(0); });
    Signal(SIGKILL);
}
