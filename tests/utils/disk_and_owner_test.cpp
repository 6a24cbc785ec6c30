#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include "tests/support/scratch_dir.h"
#include "utils/disk_space.h"
#include "utils/ownership.h"
#include "utils/scope_guards.h"
#include "utils/stdout_terminal.h"

namespace MiscUtils {
namespace {

using test_support::MakeFile;
using test_support::ScratchDir;

TEST(DiskSpaceTest, PercentIsOfTheSpaceThatCanBeUsed) {
    struct Row {
        std::uint64_t all, free, available, expected;
    };
    const Row rows[] = {
        {100, 100, 0, 0},   // nothing used, nothing to be had: no division by zero
        {0, 0, 0, 0},       // no space of its own
        {100, 30, 20, 22},  // 20 of the 90 outside the reserve
        {100, 100, 100, 100},
        {200, 199, 199, 99},  // rounded down
        {100, 10, 0, 0},
        {std::uint64_t{1} << 56, std::uint64_t{1} << 55, std::uint64_t{1} << 55, 50},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(FreePercentOfBlocks(row.all, row.free, row.available), row.expected)
            << row.all << ' ' << row.free << ' ' << row.available;
    }
}

TEST(DiskSpaceTest, AsksTheFileSystemOfThePath) {
    const ScratchDir scratch;
    const std::filesystem::space_info space = std::filesystem::space(scratch.Path());
    std::uint64_t total = 1;
    std::uint64_t available = 1;
    EXPECT_TRUE(GetDiskSpace(scratch.Path(), total, available));
    EXPECT_EQ(total, space.capacity);
    // Others write to the disk meanwhile: near is all that can be asked for.
    EXPECT_NEAR(static_cast<double>(available), static_cast<double>(space.available), 1e9);
    EXPECT_NEAR(static_cast<double>(GetDiskFreePercent(scratch.Path())),
                100.0 * static_cast<double>(space.available) /
                    static_cast<double>(space.capacity - space.free + space.available),
                2);

    EXPECT_EQ(GetDiskFreePercent("/proc"), 0U);
    EXPECT_EQ(GetDiskFreePercent(scratch / "missing"), 0U);
    EXPECT_FALSE(GetDiskSpace(scratch / "missing", total, available));
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(total + available, 0U);
}

struct OwnerFixture : testing::Test {
    OwnerFixture() {
        MakeFile(scratch / "file");
        EXPECT_EQ(mkdir((scratch / "dir").c_str(), 0755), 0);
        EXPECT_EQ(symlink("dir", (scratch / "to-dir").c_str()), 0);
        EXPECT_EQ(mkfifo((scratch / "fifo").c_str(), 0644), 0);
    }
    ScratchDir scratch;
    bool changed = true;
};

TEST_F(OwnerFixture, KeepsTheRightOwnerRefusesOtherTypesAndReportsFailure) {
    for (const char* name : {"file", "dir", "to-dir"}) {
        changed = true;
        EXPECT_TRUE(ChownIfNeeded(scratch / name, geteuid(), getegid(), changed)) << name;
        EXPECT_FALSE(changed) << name;
    }
    for (const char* name : {"fifo", "missing"}) {
        changed = true;
        EXPECT_FALSE(ChownIfNeeded(scratch / name, geteuid(), getegid(), changed)) << name;
        EXPECT_FALSE(changed) << name;
    }
    // "/" belongs to root, and who is not root cannot take it; root steps down for the call.
    const uid_t user = geteuid();
    ASSERT_TRUE(user != 0 || seteuid(65534) == 0);
    changed = true;
    EXPECT_FALSE(ChownIfNeeded("/", 65534, 65534, changed));
    const int error = errno;
    EXPECT_TRUE(user != 0 || seteuid(0) == 0);
    EXPECT_EQ(error, EPERM);
    EXPECT_FALSE(changed);
}

TEST_F(OwnerFixture, ChangesOwnerOrGroupAsRoot) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root may give files away";
    }
    struct Row {
        const char* name;
        uid_t uid;
        gid_t gid;
        const char* changedFile;
    };
    const Row rows[] = {
        {"file", 12345, 0, "file"}, {"file", 12345, 54321, "file"}, {"to-dir", 1, 2, "dir"}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_TRUE(ChownIfNeeded(scratch / row.name, row.uid, row.gid, changed));
        EXPECT_TRUE(changed);
        struct stat record = {};
        EXPECT_EQ(lstat((scratch / row.changedFile).c_str(), &record), 0);
        EXPECT_EQ(record.st_uid, row.uid);
        EXPECT_EQ(record.st_gid, row.gid);
    }
}

TEST(StdoutTerminalTest, ATerminalIsOneAndAFileIsNot) {
    const auto answerFor = [](int fd) {
        std::fflush(stdout);
        const UniqueFd saved(dup(STDOUT_FILENO));
        dup2(fd, STDOUT_FILENO);
        const bool answer = IsStdoutTerminal();
        dup2(saved.Get(), STDOUT_FILENO);
        return answer;
    };
    const UniqueFd file(open("/dev/null", O_WRONLY));
    EXPECT_FALSE(answerFor(file.Get()));

    const UniqueFd controller(posix_openpt(O_RDWR | O_NOCTTY));
    if (!controller || grantpt(controller.Get()) != 0 || unlockpt(controller.Get()) != 0) {
        GTEST_SKIP() << "this machine hands out no pseudo-terminals";
    }
    const UniqueFd terminal(open(ptsname(controller.Get()), O_RDWR | O_NOCTTY));
    ASSERT_TRUE(terminal);
    EXPECT_TRUE(answerFor(terminal.Get()));
}

}  // namespace
}  // namespace MiscUtils
