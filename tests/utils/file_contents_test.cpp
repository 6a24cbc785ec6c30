#include "utils/file_contents.h"

#include <cerrno>
#include <functional>
#include <tuple>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/support/file_trees.h"
#include "tests/support/scoped_limit.h"
#include "utils/scope_guards.h"

namespace MiscUtils {
namespace {

namespace fs = std::filesystem;

std::string Pattern(std::size_t size) {
    std::string text;
    while (text.size() < size) {
        text += static_cast<char>(text.size() % 251);
    }
    return text;
}

TEST(FileContentsTest, CopyReplacesAndAppendAddsAroundEveryBlockBound) {
    const TempDir scratch;
    for (const std::size_t size : {0U, 1U, 4095U, 4096U, 4097U, 8193U}) {
        const std::string source = MakeFile(scratch / "source", Pattern(size));
        const std::string target = MakeFile(scratch / "target", "old");
        EXPECT_TRUE(AppendFileContents(source, target));
        EXPECT_EQ(ReadWholeFile(target), "old" + Pattern(size));
        EXPECT_TRUE(CopyFileContents(source, target));
        EXPECT_EQ(TempDir::ReadPath(target), Pattern(size));
    }
}

TEST(FileContentsTest, NewFilesHaveOneModeAndFailuresLeaveNothingBehind) {
    const std::function<bool(const std::string& source, const std::string& target)> calls[] = {
        CopyFileContents, AppendFileContents, [](auto&, auto& target) { return WriteStringToFile("new", target); },
        [](auto&, auto& target) { return WriteStringAt("new", target, 100); }};
    for (const auto& call : calls) {
        const TempDir scratch;
        const std::string source = MakeFile(scratch / "source", "new");
        const std::ptrdiff_t openBefore = OpenDescriptors();
        const ScopedUmask privateFiles(077);
        EXPECT_TRUE(!call(source, scratch / "missing/target") && errno == ENOENT);
        EXPECT_TRUE(!call(source, scratch.Path()) && errno == EISDIR);
        EXPECT_TRUE(call(source, scratch / "target"));
        EXPECT_EQ(TempDir::ReadPath(scratch / "target"), "new");
        EXPECT_EQ(fs::status(scratch / "target").permissions(), fs::perms{0644});
        EXPECT_EQ(umask(077), 077U);
        EXPECT_EQ(OpenDescriptors(), openBefore);
    }
}

TEST(FileContentsTest, CopyAndAppendReportEachCallThatFails) {
    const TempDir scratch;
    const std::string source = MakeFile(scratch / "source", Pattern(12288));
    const std::string target = MakeFile(scratch / "target", "old");
    const std::ptrdiff_t openBefore = OpenDescriptors();
    for (const auto& call : {CopyFileContents, AppendFileContents}) {
        EXPECT_TRUE(!call(scratch / "missing", scratch / "never") && errno == ENOENT);
        EXPECT_TRUE(!call(scratch / "missing", target) && errno == ENOENT);
        EXPECT_TRUE(!call(scratch.Path(), scratch / "from-directory") && errno == EISDIR);
        const ScopedLimit onlyTheSourceOpens(RLIMIT_NOFILE, DescriptorsAllowing(1));
        EXPECT_TRUE(!call(source, target) && errno == EMFILE);
    }
    EXPECT_EQ(TempDir::ReadPath(target), "old");
    EXPECT_FALSE(fs::exists(scratch / "never"));
    EXPECT_TRUE(!AppendFileContents(source, source) && errno == EINVAL);
    for (const std::size_t size : {4120U, 12288U}) {  // a short write passes, a refused one not
        MakeFile(source, Pattern(size));
        const ScopedLimit fullDisk(RLIMIT_FSIZE, 4096 + 10);
        EXPECT_EQ(CopyFileContents(source, target), size < 12288) << size;
        EXPECT_EQ(TempDir::ReadPath(target), Pattern(4096 + 10));
    }
    EXPECT_TRUE(CopyFileContents(target, target) && fs::is_empty(target));
    EXPECT_EQ(OpenDescriptors(), openBefore);
}

TEST(FileContentsTest, WriteAddsAndWriteAtOverwrites) {
    const TempDir scratch;
    const std::string path = scratch / "file";
    const std::tuple<const char*, off_t, std::string> rows[] = {
        {"XY", 4, "0123XY"}, {"X", 6, {"01234\0X", 7}}, {"X", -1, "X1234"}};
    for (const auto& [text, offset, contents] : rows) {
        MakeFile(path, "01234");
        EXPECT_TRUE(WriteStringAt(text, path, offset));
        EXPECT_EQ(TempDir::ReadPath(path), contents);
    }
    EXPECT_TRUE(WriteStringToFile({"a\0b", 3}, path));
    EXPECT_EQ(TempDir::ReadPath(path), std::string("X1234a\0b", 8));
    const ScopedLimit nothingOpens(RLIMIT_NOFILE, DescriptorsAllowing(0));
    EXPECT_TRUE(!WriteStringToFile("text", path) && errno == EMFILE);
    EXPECT_TRUE(!WriteStringAt("text", path, 0) && errno == EBADF);
}

TEST(FileContentsTest, ReadTakesFilesOfUnknownSizeAndNamesWhatItCannotRead) {
    EXPECT_TRUE(ReadWholeFile("/proc/self/cmdline").ends_with('\0'));
    const std::ptrdiff_t openBefore = OpenDescriptors();
    const auto errorOf = [](const char* path) {
        return ErrorOf<std::runtime_error>([&] { return ReadWholeFile(path); });
    };
    EXPECT_EQ(errorOf("/missing"), "No such file or directory : /missing");
    EXPECT_EQ(errorOf("/proc"), "Is a directory : /proc");
    EXPECT_EQ(OpenDescriptors(), openBefore);
}

}  // namespace
}  // namespace MiscUtils
