// Every system call of running a program and of handling files fails in turn, once and from then on for good,
// until the operation passes untouched.

#include <csignal>
#include <tuple>

#include <gtest/gtest.h>
#include <sys/wait.h>

#include "tests/support/file_trees.h"
#include "velora/procutils/runexe/run_exe.h"
#include "velora/procutils/runexe/spawn_exe.h"
#include "velora/utils/file_contents.h"
#include "velora/utils/file_tree.h"
#include "velora/utils/text_edit.h"

extern "C" int ArmFault(const char* plan);

namespace {

using namespace MiscUtils;
using velora::utils::proc::RunExe, velora::utils::proc::SpawnExe;

bool RunsWell(const TempDir&) {
    std::string output;
    return RunExe("sh -c printf\toutput", output) == 0 && output == "output";
}

bool Returns(const auto& call, const auto&... arguments) {
    return ErrorOf<std::exception>(call, arguments...) == "no error";
}

TEST(FaultSweepTest, EveryCallFailsInTurn) {
    const std::string text(5000, 'x');  // two blocks; "X" in the rows
    constexpr int kMost = 12;           // RunExe reads on for as long as its program runs
    static const FileCallback ignore = [](auto&) {};
    static const auto moveOrCopy = [](auto& source, auto& target) { MoveOrCopy(source, target); };
    // Columns: the calls, the operation, and the files t, s/f and u/f after it; before it they are "old|X|".
    const std::tuple<const char*, bool (*)(const TempDir&), const char*> rows[] = {
        {"pipe fork dup2 select read close", RunsWell, "old|X|"},
        {"open creat read write close", [](auto& d) { return CopyFileContents(d / "s/f", d / "t"); }, "X|X|"},
        {"open read write close", [](auto& d) { return AppendFileContents(d / "s/f", d / "t"); }, "oldX|X|"},
        {"open write close", [](auto& d) { return WriteStringToFile("new", d / "t"); }, "oldnew|X|"},
        {"rename", [](auto& d) { return Returns(Move, d / "s", d / "u", ignore); }, "old||X"},
        {"rename", [](auto& d) { return Returns(moveOrCopy, d / "s", d / "u"); }, "old||X"},
        {"open creat read write", [](auto& d) { return Returns(CopyFile, d / "s", d / "u", ignore); }, "old|X|X"},
        {"unlink", [](auto& d) { return Returns(Delete, d / "s"); }, "old||"}};
    alarm(60);  // against a hang
    std::signal(SIGCHLD, SIG_IGN);
    const auto sweep = [&](const std::string& call, const char* forGood, auto operation, const std::string& whenDone) {
        for (int k = 1, failed = 1; failed != 0 && k <= kMost; ++k) {
            SCOPED_TRACE(call + " " + std::to_string(k) + forGood + " for " + whenDone);
            const ScratchDir scratch;
            Plant(scratch, "s/ s/f=" + text + " t=old");
            ArmFault((call + " " + std::to_string(k) + forGood).c_str());
            const bool success = operation(scratch);
            failed = ArmFault(nullptr);
            EXPECT_TRUE(k > 1 || failed > 0) << "is not called";
            EXPECT_EQ(std::signal(SIGCHLD, SIG_IGN), SIG_IGN);
            std::string files = scratch.Read("t") + "|" + scratch.Read("s/f") + "|" + scratch.Read("u/f");
            ReplaceAll(files, text, "X");
            EXPECT_TRUE(success ? files == whenDone : failed > 0 && files.find("|X") != std::string::npos) << files;
            while (waitpid(-1, nullptr, 0) > 0) {  // a child that was given up
            }
        }
    };
    for (const auto& [calls, operation, whenDone] : rows) {
        for (const std::string& call : Words(calls)) {
            sweep(call, "", operation, whenDone);
            sweep(call, "+", operation, whenDone);
        }
    }
}

TEST(FaultSweepTest, SpawnsWithoutAPipeButNotWithoutAFork) {
    ArmFault("fork 1");
    EXPECT_EQ(ErrorOf<std::runtime_error>(SpawnExe, "true"),
              "Resource temporarily unavailable : procutils/runexecvp/fork:");
    ArmFault("pipe2 1");
    EXPECT_GT(SpawnExe("true"), 0);
    EXPECT_EQ(ArmFault(nullptr), 1);
}

#if !IS_SANITIZED  // where malloc cannot be made to fail
TEST(FaultSweepTest, AllocatesNothingBetweenForkAndExec) {
    static bool isChildWithoutMemory = true;
    pthread_atfork(nullptr, nullptr, [] { ArmFault(isChildWithoutMemory ? "malloc 1+" : nullptr); });
    std::string output;
    EXPECT_EQ(RunExe("no-such-program.velora", output), 255);
    EXPECT_EQ(ArmFault(nullptr), 0) << "allocations in the child";
    isChildWithoutMemory = false;
}
#endif

}  // namespace
