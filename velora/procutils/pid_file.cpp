#include "velora/procutils/pid_file.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <exception>
#include <fstream>
#include <thread>

#include <re2/re2.h>
#include <unistd.h>

#include "velora/utils/errno_text.h"
#include "velora/utils/file_contents.h"
#include "velora/utils/path_tests.h"

namespace velora::utils::proc {
namespace {

pid_t NumberIn(const std::string& pidFile) {
    return std::stoi(MiscUtils::ReadWholeFile(pidFile));
}

}  // namespace

bool IsPidFileAlive(const std::string& pidFile) {
    if (!MiscUtils::IsRegularFile(pidFile)) {
        return false;
    }
    const std::string content = MiscUtils::ReadWholeFile(pidFile);
    pid_t process = 0;
    try {
        process = std::stoi(content);
    } catch (const std::exception&) {
        return false;
    }
    return kill(process, 0) == 0 || errno != ESRCH;
}

bool IsOwnPidFile(const std::string& pidFile) {
    return NumberIn(pidFile) == getpid();
}

bool PidFileMatches(const std::string& pidFile, const std::string& pattern) {
    if (!MiscUtils::IsRegularFile(pidFile)) {
        return false;
    }
    const std::string commandLineFile = "/proc/" + MiscUtils::ReadWholeFile(pidFile) + "/cmdline";
    if (!MiscUtils::IsRegularFile(commandLineFile)) {
        return false;
    }
    std::string commandLine;
    std::ifstream stream(commandLineFile);
    std::getline(stream, commandLine);
    return RE2::PartialMatch(commandLine, RE2(pattern, RE2::Quiet));
}

bool WaitWhileRunning(const std::string& pidFile, const std::string& pattern, int seconds) {
    if (seconds == 0) {
        return true;
    }
    for (int left = seconds; PidFileMatches(pidFile, pattern);) {
        std::this_thread::sleep_for(std::chrono::seconds(1));  // signals do not cut it short
        if (left > 0 && --left == 0) {
            return true;
        }
    }
    return false;
}

bool StopProc(const std::string& pidFile, const std::string& pattern) {
    const pid_t process = NumberIn(pidFile);
    if (!PidFileMatches(pidFile, pattern)) {
        return false;
    }
    if (kill(process, SIGKILL) != 0) {
        throw MiscUtils::ErrnoError(errno, "StopProc : failed to kill process");
    }
    return true;
}

}  // namespace velora::utils::proc
