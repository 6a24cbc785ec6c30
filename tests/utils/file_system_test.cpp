#include <algorithm>
#include <ctime>
#include <utility>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "tests/support/file_trees.h"
#include "utils/disk_space.h"
#include "utils/ownership.h"
#include "utils/path_tests.h"
#include "utils/stdout_terminal.h"

namespace MiscUtils {
namespace {

TEST(PathTestsTest, AnswerForEveryTypeOfFile) {
    const TempDir scratch;
    Plant(scratch, "file=abc empty= dir/ fifo! socket% to-file>file to-dir>dir dangling>no");
    const std::pair<const char*, const char*> rows[] = {{"file", "regular 3"},
                                                        {"empty", "regular empty 0"},
                                                        {"to-file", "regular link 3"},
                                                        {"dir", "directory -"},
                                                        {"to-dir", "directory link -"},
                                                        {"socket", "socket -"},
                                                        {"dangling", "link -"},
                                                        {"fifo", "-"},
                                                        {"missing", "-"},
                                                        {"file/below", "-"}};
    for (const auto& [name, answers] : rows) {
        const std::string path = scratch / name;
        std::string given = IsRegularFile(path) ? "regular " : "";
        given.append(IsDirectory(path) ? "directory " : "").append(IsSocket(path) ? "socket " : "");
        given.append(IsSymlink(path) ? "link " : "").append(IsEmptyFile(path) ? "empty " : "");
        const std::uint64_t size = GetFileSize(path);
        given += size == ~std::uint64_t{0} ? "-" : std::to_string(size);
        EXPECT_EQ(given, answers) << name;
    }
    const timespec times[] = {{.tv_sec = 5, .tv_nsec = 0}, {.tv_sec = 7, .tv_nsec = 9}};
    ASSERT_EQ(utimensat(AT_FDCWD, (scratch / "file").c_str(), times, 0), 0);
    EXPECT_EQ(GetModifyTime(scratch / "file"), 7);
    EXPECT_NEAR(GetChangeTime(scratch / "file"), static_cast<double>(std::time(nullptr)), 5);
    EXPECT_EQ(GetModifyTime(scratch / "missing") + GetChangeTime(scratch / "missing"), 0);
}

TEST(DiskSpaceTest, PercentIsOfTheSpaceThatCanBeUsed) {
    EXPECT_EQ(FreePercentOfBlocks(100, 100, 0), 0U);  // no division by zero
    EXPECT_EQ(FreePercentOfBlocks(100, 30, 20), 22U);
    EXPECT_EQ(FreePercentOfBlocks(200, 199, 199), 99U);
    const TempDir scratch;
    const auto space = std::filesystem::space(scratch.Path());
    std::uint64_t total = 0;
    std::uint64_t available = 0;
    EXPECT_TRUE(GetDiskSpace(scratch.Path(), total, available) && total == space.capacity);
    // Others write to the disk meanwhile: near is all that can be asked for.
    EXPECT_LT(std::max(available, space.available) - std::min(available, space.available), 1U << 30);
    const std::uint64_t percent = FreePercentOfBlocks(total, space.free, available);
    EXPECT_LE(GetDiskFreePercent(scratch.Path()) - percent + 1, 2U);
    EXPECT_FALSE(GetDiskSpace(scratch / "missing", total, available));
    EXPECT_EQ(total + available + GetDiskFreePercent(scratch / "missing"), 0U);
}

TEST(OwnershipTest, LeavesTheRightOwnerAloneAndChangesAnotherAsRoot) {
    const TempDir scratch;
    Plant(scratch, "file= dir/ link>dir pipe!");
    bool changed = true;
    for (const std::string name : {"file", "dir", "link", "pipe", "missing"}) {
        const bool right = ChownIfNeeded(scratch / name, geteuid(), getegid(), changed);
        EXPECT_EQ(right, name != "pipe" && name != "missing") << name;
        EXPECT_FALSE(std::exchange(changed, true)) << name;
    }
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root may give files away: the rest is left out";
    }
    for (const uid_t uid : {0U, 1U}) {
        EXPECT_TRUE(ChownIfNeeded(scratch / "link", uid, 2, changed) && changed);
        EXPECT_TRUE(ChownIfNeeded(scratch / "dir", uid, 2, changed) && !changed);
    }
    ASSERT_EQ(seteuid(65534), 0);
    EXPECT_FALSE(ChownIfNeeded("/", 65534, 65534, changed) || changed);
    ASSERT_EQ(seteuid(0), 0);
}

TEST(StdoutTerminalTest, IsATerminalInAChildThatHasOne) {
    EXPECT_EQ(IsStdoutTerminal(), isatty(STDOUT_FILENO) == 1);
    int controller = -1;
    const pid_t child = forkpty(&controller, nullptr, nullptr, nullptr);
    if (child == 0) {
        _exit(IsStdoutTerminal() ? 0 : 1);
    }
    int status = -1;
    EXPECT_TRUE(waitpid(child, &status, 0) == child && status == 0 && close(controller) == 0);
}

}  // namespace
}  // namespace MiscUtils
