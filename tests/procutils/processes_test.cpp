#include <algorithm>
#include <chrono>
#include <functional>
#include <future>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/time.h>

#include "tests/support/file_trees.h"
#include "tests/support/limits.h"
#include "velora/procutils/interface_rates.h"
#include "velora/procutils/pid_file.h"
#include "velora/procutils/process_search.h"
#include "velora/procutils/runexe/output_collector.h"
#include "velora/procutils/runexe/run_exe.h"
#include "velora/procutils/runexe/run_popen.h"
#include "velora/procutils/runexe/spawn_exe.h"
#include "velora/utils/file_contents.h"
#include "velora/utils/scope_guards.h"

namespace velora::utils::proc {
namespace {

using MiscUtils::UniqueFd;
using namespace std::chrono_literals;

// From here on SIGALRM ends the system call that it meets.
void CatchAlarms() {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGALRM, &action, nullptr);
}

// What a run leaves in its text, which is "old" at first; SIGCHLD stays ignored, and no descriptor stays open.
std::string TextAfter(int (*run)(const std::string&, std::string&), const char* command, int result,
                      int descriptorsLeft = 100) {
    const DescriptorWatch nothingStaysOpen;
    const auto handler = std::signal(SIGCHLD, SIG_IGN);
    CatchAlarms();
    std::string text = "old";
    {
        const ScopedLimit limit(RLIMIT_NOFILE, DescriptorsAllowing(descriptorsLeft));
        EXPECT_EQ(run(command, text), result) << command;
    }
    EXPECT_EQ(std::signal(SIGCHLD, handler), SIG_IGN) << command;
    std::signal(SIGALRM, SIG_IGN);  // one may still come
    return text;
}

TEST(RunPopenTest, GivesTheStatusOfTheShellAndWhatItPrinted) {
    EXPECT_EQ(TextAfter(RunPopen, "printf 'a\\n\\nb\\n'; exit 1", 256), "a\n\nb\n");
    EXPECT_EQ(TextAfter(RunPopen, "kill -KILL $$", SIGKILL), "");
    EXPECT_EQ(TextAfter(RunPopen, "printf %03000d 7", 0), std::string(2999, '0') + "7");
    EXPECT_EQ(TextAfter(RunPopen, "printf 'ab\\0cd\\nef\\n'", 0), "abef\n");
    EXPECT_EQ(TextAfter(RunPopen, "printf a; for i in 1 2; do kill -ALRM $PPID; sleep .1; done; printf b", 0), "ab");
    EXPECT_EQ(TextAfter(RunPopen, "no descriptors", -1, 0), "old");
    EXPECT_TRUE(RunPopenOrThrow("exit 1"));
}

TEST(RunExeTest, GivesTheExitStatusAndTheErrorsOrElseTheOutput) {
    EXPECT_EQ(TextAfter(RunExe, "  printf  %s.  a b ", 0), "a.b.");
    EXPECT_EQ(TextAfter(RunExe, "sh -c printf\toops>&2;printf\tout;exit\t3", 3), "oops");
    EXPECT_EQ(TextAfter(RunExe, "sh -c printf\tout;printf\toops>&2", 0), "out");
    EXPECT_EQ(TextAfter(RunExe, "sh -c printf\toops>&2;kill\t-KILL\t$$", -1), "oops");
    EXPECT_EQ(TextAfter(RunExe, "no-such-program.velora", 255) + TextAfter(RunExe, " ", 255), "");
    EXPECT_EQ(TextAfter(RunExe, "sh -c for\ti\tin\t1\t2;do\tkill\t-ALRM\t$PPID;sleep\t.1;done", -1), "old");
    EXPECT_EQ(TextAfter(RunExe, "one pipe", -1, 2), "pipe() failed: Too many open files");
}

TEST(RunTest, WithoutAProcessToBeHad) {
    EXPECT_TRUE(HoldsForOrdinaryUser([&, before = OpenDescriptors()] {
        const ScopedLimit noProcess(RLIMIT_NPROC, 0);
        const std::string error = "Resource temporarily unavailable";
        const std::string pgrep = " : RunPopen fail for pgrep /usr/bin/pgrep -f . stdout=";
        std::string output;
        return RunExe("true", output) == -1 && output == "fork() failed: " + error &&
               ErrorOf<std::runtime_error>(RunPopenOrThrow, "x").ends_with(" : RunPopen fail x stdout=") &&
               ErrorOf<std::runtime_error>(Pgrep, ".", nullptr).ends_with(pgrep) && !IsProcRunning(".") &&
               OpenDescriptors() == before;
    }));
}

TEST(RunExeTest, DropsWhatTheProgramLeftInThePipe) {
    // The reader stands still until the program has ended: one pass is left to it.
    EXPECT_TRUE(HoldsForOrdinaryUser([] {
        std::string output;
        return RunExe("sh -c (sleep\t0.5;kill\t-CONT\t$PPID)&kill\t-STOP\t$PPID;printf\t%03000d\t7", output) == 0 &&
               output.size() == 1023;
    }));
}

TEST(OutputCollectorTest, NamesTheFault) {
    const UniqueFd directory(open("/", O_RDONLY));
    const UniqueFd null(open("/dev/null", O_RDONLY));
    const auto errorsOf = [](int outputFd, int errorFd) {
        OutputCollector collector(outputFd, errorFd);
        return collector.Pass() ? "no error" : collector.Errors();
    };
    const int closed = static_cast<int>(DescriptorsAllowing(0));
    EXPECT_EQ(errorsOf(directory.Get(), null.Get()), "Error reading from stdout pipe: Is a directory");
    EXPECT_EQ(errorsOf(null.Get(), directory.Get()), "Error reading from stderr pipe: Is a directory");
    EXPECT_EQ(errorsOf(closed, null.Get()), "Select error: Bad file descriptor");
    EXPECT_EQ(errorsOf(null.Get(), FD_SETSIZE), "Select error: Invalid argument");
}

TEST(SpawnExeTest, KeepsTheCallersStandardErrorWhenThePipeIsLow) {
    const UniqueFd firstClosed(dup(STDERR_FILENO));  // 3, if nothing else is
    const UniqueFd lastClosed(dup2(STDERR_FILENO, 31));
    const UniqueFd firstKept(dup2(STDERR_FILENO, 32));
    testing::internal::CaptureStderr();
    const pid_t child = SpawnExe("sh\t-c \n echo${IFS}complaint>&2;exec${IFS}sleep${IFS}300");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "complaint\n");
    const std::string itsDescriptors = "/proc/" + std::to_string(child) + "/fd/";
    for (int fd = 3; fd <= 32; ++fd) {
        EXPECT_EQ(access((itsDescriptors + std::to_string(fd)).c_str(), F_OK) == 0, fd == 32) << fd;
    }
    EXPECT_EQ(kill(child, SIGKILL), 0);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
}

TEST(SpawnExeTest, HearsComplaintsThroughAHighPipe) {
    std::vector<UniqueFd> low;
    for (int fd = 0; fd < 32; fd = low.back().Get()) {
        low.emplace_back(open("/dev/null", O_RDONLY | O_CLOEXEC));
    }
    const DescriptorWatch nothingStaysOpen;
    const auto error = [](const char* command) {
        return std::async(std::launch::async, [command] {
            return ErrorOf<std::runtime_error>([&] { EXPECT_EQ(kill(SpawnExe(command), 0), -1) << "reaped"; });
        });
    };
    auto ten = error("sh -c printf${IFS}1234567890\\\\0002>&2");
    auto eleven = error("sh -c printf${IFS}12345678901>&2");
    auto many = error("sh -c printf${IFS}%0300d${IFS}7>&2");
    auto ownDescriptors = error("sh -c readlink${IFS}/proc/$$/fd/[3-9]?>&2");
    auto noProgram = error("no-such-program.velora");
    EXPECT_EQ(ten.get(), "no error") << "up to ten characters are none";
    EXPECT_EQ(eleven.get(), "12345678901");
    EXPECT_EQ(many.get(), std::string(256, '0'));
    EXPECT_EQ(ownDescriptors.get() + noProgram.get(), "no errorno error");
}

// A process "sleep <argument>", killed at the end of the scope.
struct Sleeper {
    explicit Sleeper(std::string argument) {
        std::string program = "sleep";
        char* const arguments[] = {program.data(), argument.data(), nullptr};
        posix_spawnp(&id, "sleep", nullptr, nullptr, arguments, environ);
        while (MiscUtils::ReadWholeFile("/proc/" + std::to_string(id) + "/cmdline").empty()) {
        }
    }
    ~Sleeper() {
        kill(id, SIGKILL);
        waitpid(id, nullptr, 0);
    }
    pid_t id = 0;
};

TEST(ProcessSearchTest, GivesTheFirstOfTheProcessesFound) {
    const std::string argument = "300." + std::to_string(getpid());
    const std::string others = "'[s]leep " + argument + "'";  // does not match itself
    std::vector<int> found;
    const auto collect = [&found](int id) { found.push_back(id); };
    EXPECT_TRUE(Pgrep(others, collect) && !IsProcRunning(others));
    EXPECT_TRUE(IsProcRunning(argument)) << "the shell's own command line matches";
    const Sleeper one(argument), two(argument);
    EXPECT_TRUE(Pgrep(others, collect) && IsProcRunning(others));
    EXPECT_EQ(found, std::vector{std::min(one.id, two.id)});
}

TEST(PidFileTest, AnswersForEveryContent) {
    const ScratchDir scratch;
    const std::string own = std::to_string(getpid());
    const auto answers = [&](const std::string& content) {
        const std::string file = scratch.Write("pid", content);
        bool isOwn = false;
        const std::string error = ErrorOf<std::exception>([&] { isOwn = IsOwnPidFile(file); });
        EXPECT_EQ(ErrorOf<std::exception>([&] { EXPECT_FALSE(StopProc(file, "^x")); }), error) << content;
        return std::string(IsPidFileAlive(file) ? "alive, " : "") + (isOwn ? "own, " : "") +
               (PidFileMatches(file, "_tests\\x00") ? "matches, " : "") + error;
    };
    EXPECT_EQ(answers(own), "alive, own, matches, no error");
    EXPECT_EQ(answers(own + "\n"), "alive, own, no error");
    EXPECT_EQ(answers("4194304"), "no error") << "above any id";
    EXPECT_EQ(answers(" -1x"), "alive, no error");
    EXPECT_EQ(answers("self"), "matches, stoi");
    EXPECT_EQ(answers("2147483648"), "stoi");
    EXPECT_FALSE(PidFileMatches(scratch.Write("pid", "4194304"), "")) << "there is no command line";
    const std::string error = "No such file or directory : /missing";
    EXPECT_EQ(ErrorOf<std::exception>(IsOwnPidFile, "/missing"), error);
    EXPECT_EQ(ErrorOf<std::exception>(StopProc, "/missing", "^x"), error);
    EXPECT_FALSE(IsPidFileAlive("/missing") || PidFileMatches("/missing", ""));
}

TEST(WaitingTest, IsNotShortenedBySignals) {
    const ScratchDir scratch;
    const std::string own = scratch.Write("pid", std::to_string(getpid()));
    CatchAlarms();
    const itimerval often{.it_interval = {.tv_sec = 0, .tv_usec = 50000}, .it_value = {.tv_sec = 0, .tv_usec = 50000}};
    setitimer(ITIMER_REAL, &often, nullptr);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(WaitWhileRunning(own, "_tests", 1));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 1s);
    EXPECT_NE(("\n" + InterfaceRates(1)).find("\nlo  "), std::string::npos);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 2s);
    SpawnExe("true");
    EXPECT_GE(std::chrono::steady_clock::now() - start, 4s);
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
}

TEST(PidFileTest, WaitsForAProcessAndStopsIt) {
    const ScratchDir scratch;
    const Sleeper sleeper("300");
    const Sleeper brief("0.5");
    const std::string file = scratch.Write("pid", std::to_string(sleeper.id));
    EXPECT_TRUE(WaitWhileRunning(scratch / "missing", "", 0));
    EXPECT_FALSE(PidFileMatches(file, "(")) << "does not compile";
    EXPECT_FALSE(WaitWhileRunning(scratch.Write("b", std::to_string(brief.id)), "s", 30));

    std::filesystem::permissions(scratch.Path(), std::filesystem::perms{0755});
    EXPECT_TRUE(geteuid() != 0 || HoldsForOrdinaryUser([&file] {
                    return IsPidFileAlive(file) && ErrorOf<std::runtime_error>(StopProc, file, "sleep") ==
                                                       "Operation not permitted : StopProc : failed to kill process";
                }));
    EXPECT_TRUE(StopProc(file, "sleep"));
    siginfo_t end{};
    EXPECT_EQ(waitid(P_PID, static_cast<id_t>(sleeper.id), &end, WEXITED | WNOWAIT), 0);
    EXPECT_EQ(end.si_status, SIGKILL);
    EXPECT_FALSE(StopProc(file, "sleep")) << "a zombie";
}

}  // namespace
}  // namespace velora::utils::proc
