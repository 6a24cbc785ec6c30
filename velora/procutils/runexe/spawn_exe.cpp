#include "velora/procutils/runexe/spawn_exe.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <re2/re2.h>
#include <sys/wait.h>
#include <unistd.h>

#include "velora/procutils/runexe/child_program.h"
#include "velora/procutils/runexe/output_collector.h"
#include "velora/utils/errno_text.h"
#include "velora/utils/scope_guards.h"

namespace velora::utils::proc {
namespace {

constexpr int kFirstClosed = 3;
constexpr int kLastClosed = 31;
constexpr std::size_t kErrorBytes = 256;
constexpr std::size_t kHarmlessBytes = 10;

std::string WithSingleBlanks(std::string command) {
    RE2::GlobalReplace(&command, "\\s+", " ");
    return command;
}

}  // namespace

int SpawnExe(const std::string& command) {
    using std::chrono::seconds;
    const ChildProgram program(WithSingleBlanks(command));
    MiscUtils::UniqueFd readEnd;
    MiscUtils::UniqueFd writeEnd;
    // Closed by exec: a program that kept the reading end would hang once the pipe is full. Without
    // a pipe nothing is watched.
    if (std::array<int, 2> ends{}; pipe2(ends.data(), O_CLOEXEC) == 0) {
        readEnd.Reset(ends[0]);
        writeEnd.Reset(ends[1]);
    }
    const pid_t child = fork();
    if (child < 0) {
        throw MiscUtils::ErrnoError(errno, "procutils/runexecvp/fork:");
    }
    if (child == 0) {
        for (int fd = kFirstClosed; fd <= kLastClosed; ++fd) {
            close(fd);
        }
        if (writeEnd.Get() == STDERR_FILENO) {  // the caller had none
            fcntl(STDERR_FILENO, F_SETFD, 0);
        } else {
            dup2(writeEnd.Get(), STDERR_FILENO);
        }
        program.ExecOrExit();
    }
    std::this_thread::sleep_for(seconds(1));
    fcntl(readEnd.Get(), F_SETFL, O_NONBLOCK);
    std::this_thread::sleep_for(seconds(1));
    std::string errors;
    AppendFrom(readEnd.Get(), kErrorBytes, errors);
    readEnd.Reset();
    writeEnd.Reset();
    if (errors.size() > kHarmlessBytes) {
        throw std::runtime_error(errors);
    }
    waitpid(child, nullptr, WNOHANG);
    return child;
}

}  // namespace velora::utils::proc
