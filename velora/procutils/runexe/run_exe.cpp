#include "velora/procutils/runexe/run_exe.h"

#include <array>
#include <cerrno>
#include <csignal>

#include <sys/wait.h>
#include <unistd.h>

#include "velora/procutils/runexe/child_program.h"
#include "velora/procutils/runexe/output_collector.h"
#include "velora/procutils/runexe/sigchld_default.h"
#include "velora/utils/errno_text.h"

namespace velora::utils::proc {
namespace {

// Both ends of a pipe; 0 stands for "not open".
class Pipe {
 public:
    Pipe() = default;
    Pipe(const Pipe&) = delete;
    Pipe(Pipe&&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    Pipe& operator=(Pipe&&) = delete;
    ~Pipe() {
        Close(m_Ends[0]);
        Close(m_Ends[1]);
    }

    [[nodiscard]] bool Open() { return pipe(m_Ends.data()) == 0; }
    [[nodiscard]] int ReadEnd() const { return m_Ends[0]; }
    void CloseWriteEnd() { Close(m_Ends[1]); }

    // Makes the write end the calling process's descriptor `target`. The ends themselves stay open.
    void WriteInsteadOf(int target) const { dup2(m_Ends[1], target); }

    // In the child: nothing of the pipe is left but what WriteInsteadOf() made.
    void CloseInChild() const {
        close(m_Ends[0]);
        close(m_Ends[1]);
    }

 private:
    static void Close(int& end) {
        if (end != 0) {
            close(end);
            end = 0;  // the number may be another thread's from now on
        }
    }

    std::array<int, 2> m_Ends{};
};

}  // namespace

int RunExe(const std::string& command, std::string& output) {
    const SigchldDefault childrenWaitForUs;
    const ChildProgram program(command);
    Pipe outputPipe;
    Pipe errorPipe;
    if (!outputPipe.Open() || !errorPipe.Open()) {
        output = "pipe() failed: " + MiscUtils::ErrnoText(errno).text;
        return -1;
    }
    const pid_t child = fork();
    if (child < 0) {
        output = "fork() failed: " + MiscUtils::ErrnoText(errno).text;
        return -1;
    }
    if (child == 0) {
        outputPipe.WriteInsteadOf(STDOUT_FILENO);
        errorPipe.WriteInsteadOf(STDERR_FILENO);
        outputPipe.CloseInChild();
        errorPipe.CloseInChild();
        program.ExecOrExit();
    }
    outputPipe.CloseWriteEnd();
    errorPipe.CloseWriteEnd();

    OutputCollector collector(outputPipe.ReadEnd(), errorPipe.ReadEnd());
    int status = SIGKILL;  // stands when somebody else reaped the child: no exit status
    do {
        if (!collector.Pass()) {
            return -1;
        }
    } while (waitpid(child, &status, WNOHANG) == 0);
    // Makes good a poll that failed. After one that reaped, nothing is left and `status` stays.
    waitpid(child, &status, 0);

    const int result = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    output = result == 0 ? collector.Output() : collector.Errors();
    return result;
}

}  // namespace velora::utils::proc
