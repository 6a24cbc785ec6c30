#include "utils/file_contents.h"

#include <cerrno>
#include <functional>
#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/support/scoped_limit.h"
#include "tests/support/scratch_dir.h"
#include "utils/scope_guards.h"

namespace MiscUtils {
namespace {

using test_support::ContentsOf;
using test_support::DescriptorsAllowing;
using test_support::MakeFile;
using test_support::OpenDescriptors;
using test_support::ScopedLimit;
using test_support::ScratchDir;

bool Exists(const std::string& path) {
    return access(path.c_str(), F_OK) == 0;
}

std::string Pattern(std::size_t size) {
    std::string text(size, '\0');
    for (std::size_t i = 0; i < size; ++i) {
        text[i] = static_cast<char>(i % 251);
    }
    return text;
}

TEST(FileContentsTest, CopyReplacesAndAppendAddsAroundEveryBlockBound) {
    const ScratchDir scratch;
    for (const std::size_t size : {0U, 1U, 4095U, 4096U, 4097U, 8192U, 8193U}) {
        SCOPED_TRACE(size);
        const std::string text = Pattern(size);
        const std::string source = MakeFile(scratch / "source", text);
        const std::string target = MakeFile(scratch / "target", "old");
        EXPECT_TRUE(AppendFileContents(source, target));
        EXPECT_EQ(ContentsOf(target), "old" + text);
        EXPECT_TRUE(CopyFileContents(source, target));
        EXPECT_EQ(ContentsOf(target), text);
        EXPECT_EQ(ReadWholeFile(target), text);
    }
}

// One row for each way to end up with a new file, or with none.
TEST(FileContentsTest, NewFilesHaveOneModeAndFailuresLeaveNothingBehind) {
    struct Row {
        const char* name;
        std::function<bool(const std::string& source, const std::string& target)> call;
    };
    const Row rows[] = {
        {"copy", CopyFileContents},
        {"append", AppendFileContents},
        {"write", [](auto&, auto& target) { return WriteStringToFile("new", target); }},
        {"write at", [](auto&, auto& target) { return WriteStringAt("new", target, 100); }},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const ScratchDir scratch;
        const std::string source = MakeFile(scratch / "source", "new");
        const std::string target = scratch / "target";
        const std::ptrdiff_t openBefore = OpenDescriptors();
        const ScopedUmask privateFiles(077);

        EXPECT_FALSE(row.call(source, scratch / "missing/target"));
        EXPECT_EQ(errno, ENOENT);
        EXPECT_FALSE(row.call(source, scratch.Path()));
        EXPECT_EQ(errno, EISDIR);
        EXPECT_EQ(umask(077), 077U);

        EXPECT_TRUE(row.call(source, target));
        EXPECT_EQ(ContentsOf(target), "new");
        struct stat record = {};
        EXPECT_EQ(stat(target.c_str(), &record), 0);
        EXPECT_EQ(record.st_mode, S_IFREG | 0644U);
        EXPECT_EQ(umask(077), 077U);
        EXPECT_EQ(OpenDescriptors(), openBefore);
    }
}

TEST(FileContentsTest, CopyAndAppendReportEachCallThatFails) {
    const ScratchDir scratch;
    const std::string threeBlocks = Pattern(12288);
    const std::string source = MakeFile(scratch / "source", threeBlocks);
    const std::string target = MakeFile(scratch / "target", "old");
    const std::ptrdiff_t openBefore = OpenDescriptors();
    for (const auto& call : {CopyFileContents, AppendFileContents}) {
        EXPECT_FALSE(call(scratch / "missing", scratch / "never"));
        EXPECT_EQ(errno, ENOENT);
        EXPECT_FALSE(call(scratch / "missing", target));
        EXPECT_EQ(errno, ENOENT);
        {
            const ScopedLimit onlyTheSourceOpens(RLIMIT_NOFILE, DescriptorsAllowing(1));
            EXPECT_FALSE(call(source, target));
        }
        EXPECT_EQ(errno, EMFILE);
        EXPECT_EQ(ContentsOf(target), "old");
        EXPECT_FALSE(call(scratch.Path(), scratch / "from-directory"));
        EXPECT_EQ(errno, EISDIR);
        EXPECT_EQ(ContentsOf(scratch / "from-directory"), "");
    }
    EXPECT_FALSE(Exists(scratch / "never"));
    EXPECT_FALSE(AppendFileContents(source, source));
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(ContentsOf(source), threeBlocks);

    // A write cut short passes; the one after it is refused.
    const auto copyUnderLimit = [&] {
        const ScopedLimit fullDisk(RLIMIT_FSIZE, 4096 + 10);
        return CopyFileContents(source, target);
    };
    EXPECT_FALSE(copyUnderLimit());
    EXPECT_EQ(errno, EFBIG);
    MakeFile(source, Pattern(4096 + 20));
    EXPECT_TRUE(copyUnderLimit());
    EXPECT_EQ(ContentsOf(target), Pattern(4096 + 10));

    EXPECT_TRUE(CopyFileContents(target, target));
    EXPECT_EQ(ContentsOf(target), "");
    EXPECT_EQ(OpenDescriptors(), openBefore);
}

TEST(FileContentsTest, WriteAddsAndWriteAtOverwrites) {
    using std::string_literals::operator""s;
    const ScratchDir scratch;
    const std::string path = MakeFile(scratch / "file", "0123456789");
    EXPECT_TRUE(WriteStringToFile("ab\0c"s, path));
    EXPECT_EQ(ContentsOf(path), "0123456789ab\0c"s);
    struct Row {
        const char* text;
        off_t offset;
        std::string contents;
    };
    const Row rows[] = {
        {"X", 0, "X123456789"},        {"XY", 9, "012345678XY"}, {"X", 10, "0123456789X"},
        {"X", 12, "0123456789\0\0X"s}, {"X", -1, "X123456789"},  {"", 3, "0123456789"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.offset);
        MakeFile(path, "0123456789");
        EXPECT_TRUE(WriteStringAt(row.text, path, row.offset));
        EXPECT_EQ(ContentsOf(path), row.contents);
    }
    const ScopedLimit nothingOpens(RLIMIT_NOFILE, DescriptorsAllowing(0));
    EXPECT_FALSE(WriteStringToFile("text", path));
    EXPECT_EQ(errno, EMFILE);
    EXPECT_FALSE(WriteStringAt("text", path, 0));
    EXPECT_EQ(errno, EBADF);
}

TEST(FileContentsTest, ReadTakesFilesOfUnknownSizeAndNamesWhatItCannotRead) {
    EXPECT_TRUE(ReadWholeFile("/proc/self/cmdline").ends_with('\0'));
    const ScratchDir scratch;
    const std::ptrdiff_t openBefore = OpenDescriptors();
    const auto errorOf = [](const std::string& path) -> std::string {
        try {
            return "read: " + ReadWholeFile(path);
        } catch (const std::runtime_error& error) {
            return error.what();
        }
    };
    EXPECT_EQ(errorOf(scratch / "missing"), "No such file or directory : " + (scratch / "missing"));
    EXPECT_EQ(errorOf(scratch.Path()), "Is a directory : " + scratch.Path());
    EXPECT_EQ(OpenDescriptors(), openBefore);
}

}  // namespace
}  // namespace MiscUtils
