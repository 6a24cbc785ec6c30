// What is said of regular files that do not stay as they are while a run reads them.

#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/capture_builder.h"
#include "tests/support/tool_run.h"

namespace {

// Larger than what is read ahead of an input that holds the run.
constexpr int kRecords = 60;
constexpr std::size_t kRecordSize = 100'000;

struct Change {
    const char* what;
    std::function<void(const std::string& path)> make;
    int status;
    std::string says;  // of the file, among the messages
};

std::string RecordBytes(int second) {
    return CaptureBuilder().Record(second, 0, std::string(kRecordSize - 16, 'r')).Bytes().substr(24);
}

void Overwrite(const std::string& path, int flags, off_t at, const std::string& bytes) {
    const int fd = open(path.c_str(), O_WRONLY | flags);
    EXPECT_EQ(lseek(fd, at, SEEK_SET), at);
    EXPECT_EQ(write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    close(fd);
}

TEST(ExactChangingInputsTest, AreNamedAndWhatCameTooLateIsNoted) {
    const std::string changed = "seamtool: file: it changed during the run\n";
    const auto border = static_cast<off_t>(24 + 50 * kRecordSize);  // not read yet
    const Change changes[] = {
        {"stays", [](const std::string&) {}, 0, ""},
        {"is cut between two records", [=](const std::string& path) { EXPECT_EQ(truncate(path.c_str(), border), 0); },
         252, changed},
        {"is written to in its middle", [=](const std::string& path) { Overwrite(path, 0, border, RecordBytes(7)); },
         252, changed},
        {"has another time", [](const std::string& path) { utimensat(AT_FDCWD, path.c_str(), nullptr, 0); }, 252,
         changed},
        {"grows", [](const std::string& path) { Overwrite(path, O_APPEND, 0, RecordBytes(9)); }, 0,
         "seamtool: file: it grew during the run: 100000 bytes came too late\n"}};
    std::string content = CaptureBuilder().Bytes();
    for (int record = 0; record < kRecords; ++record) {
        content += RecordBytes(7);
    }
    for (const Change& change : changes) {
        SCOPED_TRACE(change.what);
        const ToolRun run;
        const std::string path = run.directory.Write("file", content);
        const timespec longAgo[] = {{1000, 0}, {1000, 0}};
        utimensat(AT_FDCWD, path.c_str(), longAgo, 0);
        const std::string fifoPath = run.directory / "fifo";
        mkfifo(fifoPath.c_str(), 0600);
        // The run has opened the file when it opens the FIFO, and waits for the FIFO's first record.
        std::jthread writer([&] {
            const int fifo = open(fifoPath.c_str(), O_WRONLY);
            change.make(path);
            const std::string bytes = CaptureBuilder().Record(1, 0, "f").Bytes();
            EXPECT_EQ(write(fifo, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
            close(fifo);
        });
        const ToolResult result = run("--exact file fifo -out out");
        writer.join();
        EXPECT_EQ(result.exitStatus, change.status) << result;
        EXPECT_TRUE(change.says.empty() ? result.errors.empty() : result.errors.find(change.says) != std::string::npos)
            << result;
        if (change.status == 0) {
            EXPECT_EQ(std::filesystem::file_size(run.directory / "out"), content.size() + 17)
                << "the file as it was, and the FIFO's";
        }
    }
}

// What has been taken from it before is no part of it.
TEST(ExactChangingInputsTest, StandardInputIsReadFromWhereItStands) {
    ToolRun run;
    run.directory.Write("file", "before it" + CaptureBuilder().Record(1, 0, "a").Bytes());
    run.prepare = [] {
        const int fd = open("file", O_RDONLY);
        lseek(fd, 9, SEEK_SET);
        dup2(fd, STDIN_FILENO);
    };
    const ToolResult result = run("--exact - -out out");
    EXPECT_EQ(result.exitStatus, 0) << result;
    EXPECT_EQ(result.errors, "");
}

}  // namespace
