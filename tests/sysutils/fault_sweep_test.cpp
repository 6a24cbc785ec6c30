// Every system call of running a program and of handling files fails in turn, once and from then on for good,
// until the operation passes untouched.

#include <csignal>
#include <tuple>

#include <gtest/gtest.h>
#include <sys/wait.h>

#include "procutils/runexe/run_exe.h"
#include "procutils/runexe/spawn_exe.h"
#include "tests/support/file_trees.h"
#include "utils/file_contents.h"
#include "utils/file_tree.h"
#include "utils/path_tests.h"

extern "C" int ArmFault(const char* plan);

namespace {

using namespace MiscUtils;
using velora::utils::proc::RunExe, velora::utils::proc::SpawnExe;

const std::string kText(5000, 'x');  // two blocks
constexpr int kMost = 12;            // RunExe reads on for as long as its program runs
const FileCallback kNoCallback = [](const std::string&) {};

bool RunsWell(const TempDir&) {
    std::string output = "old";
    const int result = RunExe("sh -c printf\toutput", output);
    EXPECT_TRUE(result == 0 || result == -1) << result;
    return result == 0 && output == "output";
}

template <typename... Arguments>
bool Returns(void (*call)(Arguments...), const auto&... arguments) {
    return ErrorOf<std::exception>(call, arguments...) == "no error";
}

void EndsInOrder(const std::string& call, bool (*operation)(const TempDir&), bool (*isDone)(const TempDir&)) {
    for (const char* const forGood : {"", "+"}) {
        for (int k = 1, failed = 1; failed != 0 && k <= kMost; ++k) {
            const std::string plan = call + " " + std::to_string(k) + forGood;
            const TempDir scratch;
            Plant(scratch, "s/ s/f=" + kText + " t=old");
            const std::ptrdiff_t openBefore = OpenDescriptors();
            ArmFault(plan.c_str());
            const bool success = operation(scratch);
            failed = ArmFault(nullptr);
            EXPECT_EQ(OpenDescriptors(), openBefore) << plan;
            EXPECT_EQ(std::signal(SIGCHLD, SIG_IGN), SIG_IGN) << plan;
            EXPECT_TRUE(success ? isDone(scratch) : failed > 0) << plan;
            EXPECT_TRUE(success || scratch.Read("s/f") == kText || scratch.Read("u/f") == kText) << plan << " lost it";
            EXPECT_TRUE(k > 1 || failed > 0) << plan << " is not called";
            while (waitpid(-1, nullptr, 0) > 0) {  // a child that was given up
            }
        }
    }
}

TEST(FaultSweepTest, EveryCallFailsInTurn) {
    const std::tuple<const char*, const char*, bool (*)(const TempDir&), bool (*)(const TempDir&)> rows[] = {
        {"RunExe", "pipe fork dup2 select read close", RunsWell, [](auto&) { return true; }},
        {"copy", "open creat read write close", [](auto& d) { return CopyFileContents(d / "s/f", d / "t"); },
         [](auto& d) { return d.Read("t") == kText; }},
        {"append", "open read write close", [](auto& d) { return AppendFileContents(d / "s/f", d / "t"); },
         [](auto& d) { return d.Read("t") == "old" + kText; }},
        {"write", "open write close", [](auto& d) { return WriteStringToFile("new", d / "t"); },
         [](auto& d) { return d.Read("t") == "oldnew"; }},
        {"move tree", "rename", [](auto& d) { return Returns(Move, d / "s", d / "u", kNoCallback); },
         [](auto& d) { return d.Read("u/f") == kText && d.Read("s/f").empty(); }},
        {"move or copy tree", "rename",
         [](auto& d) { return Returns<const std::string&, const std::string&>(MoveOrCopy, d / "s", d / "u"); },
         [](auto& d) { return d.Read("u/f") == kText && d.Read("s/f").empty(); }},
        {"copy tree", "open creat read write close",
         [](auto& d) { return Returns(CopyFile, d / "s", d / "u", kNoCallback); },
         [](auto& d) { return d.Read("u/f") == kText && d.Read("s/f") == kText; }},
        {"delete tree", "unlink", [](auto& d) { return Returns(Delete, d / "s"); },
         [](auto& d) { return !IsDirectory(d / "s"); }}};
    alarm(60);  // against a hang
    const auto handler = std::signal(SIGCHLD, SIG_IGN);
    for (const auto& [name, calls, operation, isDone] : rows) {
        SCOPED_TRACE(name);
        for (const std::string& call : Words(calls)) {
            EndsInOrder(call, operation, isDone);
        }
    }
    std::signal(SIGCHLD, handler);
    alarm(0);
}

TEST(FaultSweepTest, SpawnsWithoutAPipeButNotWithoutAFork) {
    const std::ptrdiff_t openBefore = OpenDescriptors();
    ArmFault("fork 1");
    EXPECT_EQ(ErrorOf<std::runtime_error>(SpawnExe, "true"),
              "Resource temporarily unavailable : procutils/runexecvp/fork:");
    ArmFault("pipe 1");
    EXPECT_GT(SpawnExe("true"), 0);
    EXPECT_EQ(ArmFault(nullptr), 1);
    EXPECT_EQ(OpenDescriptors(), openBefore);
}

}  // namespace
