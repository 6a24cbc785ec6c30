#include "tests/support/tool_run.h"

#include <algorithm>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/log_text.h"

namespace {

std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

void Redirect(const std::string& path, int descriptor) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(file, descriptor);
    close(file);
}

}  // namespace

std::vector<std::string> ToolResult::LogWith(const std::string& prefix) const {
    std::vector<std::string> lines;
    for (const std::string& line : log) {
        if (line.starts_with(prefix)) {
            lines.push_back(line);
        }
    }
    return lines;
}

std::ostream& operator<<(std::ostream& out, const ToolResult& result) {
    out << "command: " << result.command << "\nexit status " << result.exitStatus << ", signal " << result.signal
        << "\n--- output\n"
        << result.output << "--- errors\n"
        << result.errors << "--- log\n";
    for (const std::string& line : result.log) {
        out << line << '\n';
    }
    return out;
}

ToolResult ToolRun::operator()(const std::vector<std::string>& arguments) const {
    const TempDir streams;
    std::vector<std::string> argv{SEAMTOOL_PATH};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    const std::string witness = "SEAMTOOL_LOG_WITNESS=" + streams.Path("witness");
    std::vector<std::string> env = environment;
    for (const std::string setting :
         {witness.c_str(), "LD_PRELOAD=" LOG_WITNESS_PATH, "UBSAN_OPTIONS=print_stacktrace=1",
          // A failed allocation answers null, as the system's does, and freed blocks do not pile up.
          "ASAN_OPTIONS=verify_asan_link_order=0:allocator_may_return_null=1:quarantine_size_mb=1"}) {
        const std::string name = setting.substr(0, setting.find('=') + 1);
        if (std::ranges::none_of(environment, [&](const auto& own) { return own.starts_with(name); })) {
            env.push_back(setting);
        }
    }
    const std::vector<char*> argvPointers = Pointers(argv);
    const std::vector<char*> envPointers = Pointers(env);

    const pid_t child = fork();
    if (child == 0) {
        Redirect(streams.Path("output"), STDOUT_FILENO);
        Redirect(streams.Path("errors"), STDERR_FILENO);
        if (chdir(directory.Path().c_str()) == 0) {
            if (prepare) {
                prepare();
            }
            execve(SEAMTOOL_PATH, argvPointers.data(), envPointers.data());
        }
        _exit(126);
    }
    if (whileRunning) {
        whileRunning(child);
    }
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);

    ToolResult result;
    result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    result.output = streams.Read("output");
    result.errors = streams.Read("errors");
    result.peakKilobytes = usage.ru_maxrss;
    for (const std::string& argument : argv) {
        result.command += "'" + argument + "' ";
    }
    const std::string logPath = streams.Read("witness");
    if (!logPath.empty()) {
        result.log = LogLines(logPath);
        unlink(logPath.c_str());
    }
    return result;
}
