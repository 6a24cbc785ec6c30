#include <chrono>
#include <functional>

#include <gtest/gtest.h>
#include <pty.h>

#include "tests/support/file_trees.h"
#include "tests/support/limits.h"
#include "velora/utils/disk_space.h"
#include "velora/utils/file_contents.h"
#include "velora/utils/ownership.h"
#include "velora/utils/path_tests.h"
#include "velora/utils/scope_guards.h"
#include "velora/utils/stdout_terminal.h"

namespace MiscUtils {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

TEST(FileContentsTest, CopyReplacesAndAppendAddsAroundEveryBlockBound) {
    const ScratchDir scratch;
    for (const std::size_t size : {0U, 1U, 4095U, 4096U, 4097U, 8193U}) {
        const std::string source = scratch.Write("source", Pattern(size));
        const std::string target = scratch.Write("target", "old");
        EXPECT_TRUE(AppendFileContents(source, target));
        EXPECT_EQ(TempDir::ReadPath(target), "old" + Pattern(size));
        EXPECT_TRUE(CopyFileContents(source, target));
        EXPECT_EQ(ReadWholeFile(target), Pattern(size));
    }
}

TEST(FileContentsTest, NewFilesHaveOneModeAndFailuresSayWhy) {
    const std::function<bool(const std::string& source, const std::string& target)> calls[] = {
        CopyFileContents, AppendFileContents, [](auto&, auto& target) { return WriteStringToFile("new", target); },
        [](auto&, auto& target) { return WriteStringAt("new", target, 100); }};
    const ScopedUmask privateFiles(077);
    for (const auto& call : calls) {
        const ScratchDir scratch;
        const std::string source = scratch.Write("source", "new");
        EXPECT_TRUE(!call(source, scratch / "missing/target") && errno == ENOENT);
        EXPECT_TRUE(!call(source, scratch.Path()) && errno == EISDIR);
        EXPECT_TRUE(call(source, scratch / "target"));
        EXPECT_EQ(scratch.Read("target"), "new");
        EXPECT_EQ(fs::status(scratch / "target").permissions(), fs::perms{0644});
        EXPECT_EQ(umask(077), 077U);
    }
}

TEST(FileContentsTest, SourcesThatCannotBeCopiedLeaveTheTargetAlone) {
    const ScratchDir scratch;
    const std::string source = scratch.Write("source", Pattern(4120));
    const std::string target = scratch.Write("target", "old");
    for (const auto& call : {CopyFileContents, AppendFileContents}) {
        EXPECT_TRUE(!call(scratch / "missing", target) && errno == ENOENT);
        EXPECT_TRUE(!call(scratch.Path(), scratch / "from-directory") && errno == EISDIR);
    }
    const ScopedLimit fullDisk(RLIMIT_FSIZE, 4096 + 10);
    EXPECT_TRUE(!AppendFileContents(target, target) && errno == EINVAL);
    EXPECT_EQ(TempDir::ReadPath(target), "old");
    EXPECT_TRUE(CopyFileContents(target, target) && fs::is_empty(target)) << "but for this one";
    EXPECT_TRUE(CopyFileContents(source, target)) << "a short write passes";
    EXPECT_EQ(scratch.Read("target"), Pattern(4096 + 10));
}

TEST(FileContentsTest, WriteAddsAndWriteAtOverwrites) {
    const ScratchDir scratch;
    const std::string path = scratch / "file";
    const auto after = [&](const char* text, off_t offset) {
        scratch.Write("file", "01234");
        EXPECT_TRUE(WriteStringAt(text, path, offset));
        return TempDir::ReadPath(path);
    };
    EXPECT_EQ(after("XY", 4), "0123XY");
    EXPECT_EQ(after("X", 6), std::string("01234\0X", 7));
    EXPECT_EQ(after("X", -1), "X1234");
    EXPECT_TRUE(WriteStringToFile({"a\0b", 3}, path) && WriteStringToFile("", path));
    EXPECT_EQ(TempDir::ReadPath(path), std::string("X1234a\0b", 8));
    const ScopedLimit nothingOpens(RLIMIT_NOFILE, DescriptorsAllowing(0));
    EXPECT_TRUE(!WriteStringAt("text", path, 0) && errno == EBADF);
}

TEST(FileContentsTest, ReadNamesWhatItCannotRead) {
    const DescriptorWatch nothingStaysOpen;
    EXPECT_TRUE(ReadWholeFile("/proc/self/cmdline").ends_with('\0'));
    EXPECT_EQ(ErrorOf<std::runtime_error>(ReadWholeFile, "/missing"), "No such file or directory : /missing");
    EXPECT_EQ(ErrorOf<std::runtime_error>(ReadWholeFile, "/proc"), "Is a directory : /proc");
}

TEST(PathTestsTest, AnswerForEveryTypeOfFile) {
    const ScratchDir scratch;
    Plant(scratch, "file=abc empty= dir/ socket% to-file>file to-dir>dir dangling>no");
    // The names for which the answer to the question is yes.
    const auto those = [&](bool (*question)(const std::string&)) {
        Tree names = Words("file empty dir socket to-file to-dir dangling missing");
        std::erase_if(names, [&](auto& name) { return !question(scratch / name); });
        return names;
    };
    EXPECT_EQ(those([](auto& path) { return IsRegularFile(path); }), Words("file empty to-file"));
    EXPECT_EQ(those([](auto& path) { return IsDirectory(path); }), Words("dir to-dir"));
    EXPECT_EQ(those([](auto& path) { return IsSocket(path); }), Words("socket"));
    EXPECT_EQ(those([](auto& path) { return IsSymlink(path); }), Words("to-file to-dir dangling"));
    EXPECT_EQ(those([](auto& path) { return IsEmptyFile(path); }), Words("empty"));
    EXPECT_EQ(those([](auto& path) { return GetFileSize(path) == 3; }), Words("file to-file"));
    EXPECT_EQ(those([](auto& path) { return ~GetFileSize(path) == 0; }), Words("dir socket to-dir dangling missing"));
    fs::last_write_time(scratch / "file", std::chrono::file_clock::from_sys(std::chrono::sys_seconds(7s)));
    EXPECT_EQ(GetModifyTime(scratch / "file"), 7);
    EXPECT_GT(GetChangeTime(scratch / "file"), 7);
    EXPECT_EQ(GetModifyTime(scratch / "missing") + GetChangeTime(scratch / "missing"), 0);
}

TEST(DiskSpaceTest, PercentIsOfTheSpaceThatCanBeUsed) {
    EXPECT_EQ(FreePercentOfBlocks(100, 100, 0), 0U);  // no division by zero
    EXPECT_EQ(FreePercentOfBlocks(100, 30, 20), 22U);
    const auto space = fs::space("/");
    std::uint64_t total = 0, available = 0;
    EXPECT_TRUE(GetDiskSpace("/", total, available) && total == space.capacity);
    // Others write to the disk meanwhile: near is all that can be asked for.
    EXPECT_NEAR(static_cast<double>(available), static_cast<double>(space.available), 1U << 30);
    EXPECT_LE(GetDiskFreePercent("/") - FreePercentOfBlocks(total, space.free, available) + 1, 2U);
    EXPECT_FALSE(GetDiskSpace("/missing", total, available));
    EXPECT_EQ(total + available + GetDiskFreePercent("/missing"), 0U);
}

TEST(OwnershipTest, LeavesTheRightOwnerAloneAndChangesAnotherAsRoot) {
    const ScratchDir scratch;
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
    EXPECT_TRUE(HoldsForOrdinaryUser([&] { return !ChownIfNeeded("/", 65534, 65534, changed) && !changed; }));
}

TEST(StdoutTerminalTest, IsATerminalInAChildThatHasOne) {
    int controller = -1;
    char terminal[128] = "";
    const pid_t child = forkpty(&controller, terminal, nullptr, nullptr);
    if (child == 0) {
        const bool hasName = access(terminal, F_OK) == 0;  // or /dev/pts is not mounted
        _exit(close(STDIN_FILENO) == 0 && IsStdoutTerminal() == hasName ? 0 : 1);
    }
    int status = -1;
    EXPECT_TRUE(waitpid(child, &status, 0) == child && status == 0 && close(controller) == 0);
}

}  // namespace
}  // namespace MiscUtils
