#include <algorithm>
#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <spawn.h>

#include "procutils/pid_file.h"
#include "procutils/process_search.h"
#include "tests/procutils/ordinary_user.h"
#include "tests/support/file_trees.h"
#include "utils/file_contents.h"

namespace velora::utils::proc {
namespace {

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
    Sleeper(const Sleeper&) = delete;
    Sleeper(Sleeper&&) = delete;
    Sleeper& operator=(const Sleeper&) = delete;
    Sleeper& operator=(Sleeper&&) = delete;

    pid_t id = 0;
};

TEST(ProcessSearchTest, GivesTheFirstOfTheProcessesFound) {
    const std::string argument = "300." + std::to_string(getpid());
    const std::string others = "'[s]leep " + argument + "'";  // does not match itself
    std::vector<int> found;
    const auto collect = [&found](int id) { found.push_back(id); };
    EXPECT_TRUE(Pgrep(others, collect));
    EXPECT_FALSE(IsProcRunning(others));
    EXPECT_TRUE(IsProcRunning(argument)) << "the shell's own command line matches";

    const Sleeper one(argument);
    const Sleeper two(argument);
    EXPECT_TRUE(Pgrep(others, collect));
    EXPECT_EQ(found, std::vector{std::min(one.id, two.id)});
    EXPECT_TRUE(IsProcRunning(others));
}

TEST(PidFileTest, AnswersForEveryContent) {
    const TempDir scratch;
    const std::string missing = scratch / "missing";
    const std::string id = std::to_string(getpid());
    const struct {
        std::string content;
        bool alive, own, matches;
        std::string error = "no error";
    } rows[] = {
        {id, true, true, true},
        {id + "\n", true, true, false},
        {" " + id + "x", true, true, false},
        {"4194304", false, false, false},  // above any id
        {"0", true, false, false},
        {"-1", true, false, false},
        {"self", false, false, true, "stoi"},
        {"2147483648", false, false, false, "stoi"},
        {"missing", false, false, false, "No such file or directory : " + missing},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.content);
        const std::string file = row.content == "missing" ? missing : MakeFile(scratch / "pid", row.content);
        bool own = false;
        EXPECT_EQ(ErrorOf<std::exception>([&] { own = IsOwnPidFile(file); }), row.error);
        EXPECT_EQ(ErrorOf<std::exception>([&] { EXPECT_FALSE(StopProc(file, "^x")); }), row.error);
        EXPECT_EQ(IsPidFileAlive(file), row.alive);
        EXPECT_EQ(own, row.own);
        EXPECT_EQ(PidFileMatches(file, "_tests\\x00"), row.matches);
    }
}

TEST(PidFileTest, WaitsForAProcessAndStopsIt) {
    const TempDir scratch;
    const Sleeper sleeper("300");
    const Sleeper brief("0.5");
    const std::string file = MakeFile(scratch / "pid", std::to_string(sleeper.id));
    EXPECT_TRUE(WaitWhileRunning(scratch / "missing", "", 0));
    EXPECT_TRUE(WaitWhileRunning(file, "sleep", 1));
    EXPECT_FALSE(PidFileMatches(file, "(")) << "does not compile";
    EXPECT_FALSE(WaitWhileRunning(MakeFile(scratch / "b", std::to_string(brief.id)), "s", 30));

    std::filesystem::permissions(scratch.Path(), std::filesystem::perms{0755});
    EXPECT_TRUE(geteuid() != 0 || HoldsForOrdinaryUser([&file] {
                    return IsPidFileAlive(file) && ErrorOf<std::runtime_error>([&] { StopProc(file, "sleep"); }) ==
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
