#include "utils/path_tests.h"

#include <array>
#include <cerrno>
#include <ctime>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include "tests/support/scratch_dir.h"
#include "utils/bounded_copy.h"
#include "utils/scope_guards.h"

namespace MiscUtils {
namespace {

using test_support::MakeFile;
using test_support::ScratchDir;

TEST(PathTestsTest, AnswerForEveryTypeOfFile) {
    const ScratchDir scratch;
    MakeFile(scratch / "file", "abc");
    MakeFile(scratch / "empty");
    ASSERT_EQ(mkdir((scratch / "dir").c_str(), 0755), 0);
    ASSERT_EQ(mkfifo((scratch / "fifo").c_str(), 0644), 0);
    ASSERT_EQ(symlink("file", (scratch / "to-file").c_str()), 0);
    ASSERT_EQ(symlink("dir", (scratch / "to-dir").c_str()), 0);
    ASSERT_EQ(symlink("gone", (scratch / "dangling").c_str()), 0);
    const UniqueFd socketFd(socket(AF_UNIX, SOCK_DGRAM, 0));
    sockaddr_un address = {.sun_family = AF_UNIX, .sun_path = {}};
    CopyBounded(address.sun_path, scratch / "socket", "test");
    ASSERT_EQ(bind(socketFd.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);

    struct Row {
        std::string name;
        bool regular = false, directory = false, socket = false, symlink = false, empty = false;
        std::uint64_t size = kNoFileSize;
    };
    const Row rows[] = {
        {.name = "file", .regular = true, .size = 3},
        {.name = "empty", .regular = true, .empty = true, .size = 0},
        {.name = "to-file", .regular = true, .symlink = true, .size = 3},
        {.name = "dir", .directory = true},
        {.name = "to-dir", .directory = true, .symlink = true},
        {.name = "socket", .socket = true},
        {.name = "dangling", .symlink = true},
        {.name = "fifo"},
        {.name = "missing"},
        {.name = "file/below"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string path = scratch / row.name;
        EXPECT_EQ(IsRegularFile(path), row.regular);
        EXPECT_EQ(IsDirectory(path), row.directory);
        EXPECT_EQ(IsSocket(path), row.socket);
        EXPECT_EQ(IsSymlink(path), row.symlink);
        EXPECT_EQ(IsEmptyFile(path), row.empty);
        EXPECT_EQ(GetFileSize(path), row.size);
    }
    EXPECT_EQ(kNoFileSize, static_cast<std::uint64_t>(-1));
    ASSERT_EQ(truncate((scratch / "file").c_str(), 5'000'000'000), 0);  // beyond 32 bits
    EXPECT_EQ(GetFileSize(scratch / "file"), 5'000'000'000U);
}

TEST(PathTestsTest, TimesAreSecondsOfContentsAndOfStatus) {
    const ScratchDir scratch;
    const std::string path = MakeFile(scratch / "file");
    const time_t start = time(nullptr);
    const std::array<timespec, 2> times{{{.tv_sec = 5, .tv_nsec = 0}, {.tv_sec = 7, .tv_nsec = 9}}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times.data(), 0), 0);
    EXPECT_EQ(GetModifyTime(path), 7);
    EXPECT_GE(GetChangeTime(path), start - 1);  // the file system's clock may lag by a tick
    EXPECT_LE(GetChangeTime(path), time(nullptr));

    EXPECT_EQ(GetModifyTime(scratch / "missing"), 0);
    EXPECT_EQ(GetChangeTime(scratch / "missing"), 0);
    EXPECT_EQ(errno, ENOENT);
}

}  // namespace
}  // namespace MiscUtils
