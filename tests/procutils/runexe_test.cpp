#include <csignal>
#include <future>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/select.h>
#include <sys/time.h>

#include "procutils/runexe/output_collector.h"
#include "procutils/runexe/run_exe.h"
#include "procutils/runexe/run_popen.h"
#include "procutils/runexe/spawn_exe.h"
#include "tests/procutils/process_support.h"
#include "tests/support/scoped_limit.h"
#include "tests/support/scratch_dir.h"
#include "utils/scope_guards.h"

namespace velora::utils::proc {
namespace {

using MiscUtils::UniqueFd;
using test_support::HoldsForOrdinaryUser;
using test_support::OpenDescriptors;
using test_support::OutcomeOf;
using test_support::ScopedLimit;

TEST(RunTest, GivesAResultAndAText) {
    constexpr int kMany = 100;
    const struct {
        int (*run)(const std::string&, std::string&);
        std::string command;
        int result;
        int descriptorsLeft;
        std::string output;
    } rows[] = {
        {RunPopen, "printf hello", 0, kMany, "hello"},
        {RunPopen, "printf 'a\\n\\nb\\n'; exit 1", 256, kMany, "a\n\nb\n"},
        {RunPopen, "", 0, kMany, ""},
        {RunPopen, "kill -KILL $$", SIGKILL, kMany, ""},
        {RunPopen, "printf %03000d 7", 0, kMany, std::string(2999, '0') + "7"},
        {RunPopen, "printf 'ab\\0cd\\nef\\n'", 0, kMany, "abef\n"},
        {RunPopen, "no descriptors", -1, 0, "old"},
        {RunExe, "printf hello", 0, kMany, "hello"},
        {RunExe, "  printf  %s.  a b ", 0, kMany, "a.b."},
        {RunExe, "sh -c printf\toops>&2;printf\tout;exit\t3", 3, kMany, "oops"},
        {RunExe, "sh -c printf\toops>&2;printf\tout", 0, kMany, "out"},
        {RunExe, "sh -c printf\toops>&2;kill\t-KILL\t$$", -1, kMany, "oops"},
        {RunExe, "no-such-program.velora", 255, kMany, ""},
        {RunExe, " ", 255, kMany, ""},
        {RunExe, "no pipe", -1, 0, "pipe() failed: Too many open files"},
        {RunExe, "one pipe", -1, 2, "pipe() failed: Too many open files"},
    };
    const auto before = OpenDescriptors();
    const auto handler = std::signal(SIGCHLD, SIG_IGN);
    for (const auto& row : rows) {
        SCOPED_TRACE(row.command);
        std::string output = "old";
        int result = -2;
        {
            const ScopedLimit limit(RLIMIT_NOFILE,
                                    test_support::DescriptorsAllowing(row.descriptorsLeft));
            result = row.run(row.command, output);
        }
        EXPECT_EQ(result, row.result);
        EXPECT_EQ(output, row.output);
        EXPECT_EQ(std::signal(SIGCHLD, SIG_IGN), SIG_IGN);
        EXPECT_EQ(OpenDescriptors(), before);
    }
    std::signal(SIGCHLD, handler);
    EXPECT_TRUE(RunPopenOrThrow("exit 1"));
}

TEST(RunTest, WithoutAProcessToBeHad) {
    EXPECT_TRUE(HoldsForOrdinaryUser([before = OpenDescriptors()] {
        const ScopedLimit noProcess(RLIMIT_NPROC, 0);
        const std::string error = "Resource temporarily unavailable";
        std::string output;
        return RunExe("true", output) == -1 && output == "fork() failed: " + error &&
               OutcomeOf([] { return SpawnExe("true") > 0; }) ==
                   error + " : procutils/runexecvp/fork:" &&
               OutcomeOf([] {
                   return RunPopenOrThrow("true");
               }).ends_with(" : RunPopen fail true stdout=") &&
               OpenDescriptors() == before;
    }));
}

TEST(RunExeTest, ASignalCaughtWhileReadingEndsItWithoutAText) {
    const auto handler = std::signal(SIGALRM, [](int) {});
    const itimerval often = {{0, 20000}, {0, 20000}};
    setitimer(ITIMER_REAL, &often, nullptr);
    std::string output = "old";
    EXPECT_EQ(RunExe("sleep 0.3", output), -1);
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    std::signal(SIGALRM, handler);
    EXPECT_EQ(output, "old");
    EXPECT_GT(wait(nullptr), 0);  // it was left running
}

TEST(RunExeTest, DropsWhatTheProgramLeftInThePipe) {
    // The reader stands still until the program has ended: one pass is left to it.
    EXPECT_TRUE(HoldsForOrdinaryUser([] {
        std::string output;
        return RunExe("sh -c (sleep\t0.5;kill\t-CONT\t$PPID)&kill\t-STOP\t$PPID;printf\t%03000d\t7",
                      output) == 0 &&
               output.size() == 1023;
    }));
}

TEST(OutputCollectorTest, ReadsAPieceAPassAndNamesFaults) {
    const UniqueFd directory(open("/", O_RDONLY));
    const UniqueFd null(open("/dev/null", O_RDONLY));
    const int closed = static_cast<int>(test_support::DescriptorsAllowing(0));
    const struct {
        int outputFd, errorFd;
        std::string errors;
    } faults[] = {
        {directory.Get(), null.Get(), "Error reading from stdout pipe: Is a directory"},
        {null.Get(), directory.Get(), "Error reading from stderr pipe: Is a directory"},
        {closed, null.Get(), "Select error: Bad file descriptor"},
        {null.Get(), FD_SETSIZE, "Select error: Invalid argument"},
    };
    for (const auto& row : faults) {
        OutputCollector collector(row.outputFd, row.errorFd);
        EXPECT_FALSE(collector.Pass());
        EXPECT_EQ(collector.Errors(), row.errors);
    }

    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const UniqueFd readEnd(ends[0]);
    const UniqueFd writeEnd(ends[1]);
    const std::string text = std::string(1023, 'x') + std::string("y\0z", 3);
    ASSERT_EQ(write(writeEnd.Get(), text.data(), text.size()), 1026);
    OutputCollector collector(readEnd.Get(), null.Get());
    for (const std::size_t size : {1023U, 1024U}) {
        EXPECT_TRUE(collector.Pass());
        EXPECT_EQ(collector.Output(), text.substr(0, size));
    }
}

TEST(SpawnExeTest, KeepsTheCallersStandardErrorWhenThePipeIsLow) {
    const auto before = OpenDescriptors();
    testing::internal::CaptureStderr();
    const pid_t child = SpawnExe("sh\t-c \n echo${IFS}complaint>&2;exec${IFS}sleep${IFS}300");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "complaint\n");
    EXPECT_EQ(OpenDescriptors(), before);
    const std::string itsDescriptors = "/proc/" + std::to_string(child) + "/fd/";
    for (int fd = 3; fd <= 31; ++fd) {
        EXPECT_NE(access((itsDescriptors + std::to_string(fd)).c_str(), F_OK), 0) << fd;
    }
    EXPECT_EQ(kill(child, SIGKILL), 0);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
}

TEST(SpawnExeTest, HearsComplaintsThroughAHighPipe) {
    std::vector<UniqueFd> low;
    do {
        low.emplace_back(open("/dev/null", O_RDONLY));
    } while (low.back().Get() < 32);
    const struct {
        std::string command, outcome;
    } rows[] = {
        {"sh -c printf${IFS}1234567890>&2", "false"},
        {"sh -c printf${IFS}12345678901>&2", "12345678901"},
        {"sh -c printf${IFS}%0300d${IFS}7>&2", std::string(256, '0')},
        {"sh -c printf${IFS}12345678901\\\\0002>&2", "12345678901"},
        {"no-such-program.velora", "false"},
    };
    const auto before = OpenDescriptors();
    std::vector<std::future<std::string>> outcomes;
    for (const auto& row : rows) {
        outcomes.push_back(std::async(std::launch::async, [&row] {
            return OutcomeOf([&row] { return kill(SpawnExe(row.command), 0) == 0; });
        }));
    }
    for (std::size_t index = 0; index < outcomes.size(); ++index) {
        SCOPED_TRACE(rows[index].command);
        EXPECT_EQ(outcomes[index].get(), rows[index].outcome);
    }
    EXPECT_EQ(OpenDescriptors(), before);
    while (wait(nullptr) > 0) {  // those that complained
    }
}

}  // namespace
}  // namespace velora::utils::proc
