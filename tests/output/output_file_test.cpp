// An output appears whole or not at all, whatever the file system offers and whichever call fails.

#include "velora/output/output_file.h"

#include <csignal>
#include <filesystem>
#include <functional>
#include <memory>
#include <set>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/codec/string_sink.h"
#include "tests/support/limits.h"
#include "tests/support/temp_dir.h"

extern "C" int ArmFault(const char* plan);

namespace velora::output {
namespace {

using Kind = codec::OutputOutcome::Kind;

const std::string kContent = codec::Noise(3'300'000);  // space ahead is asked for twice

std::set<std::string> NamesIn(const TempDir& directory) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory.Path())) {
        names.insert(entry.path().filename());
    }
    return names;
}

bool HoldsContent(const std::string& path) {
    std::string found(kContent.size() + 1, '\0');
    std::ifstream(path, std::ios::binary).read(found.data(), static_cast<std::streamsize>(found.size()));
    return found == kContent + '\0' && std::filesystem::file_size(path) == kContent.size();
}

// Writes the content in pieces, and finishes even after a failure, which has to be told again.
codec::OutputOutcome WriteAll(OutputFile& output) {
    codec::OutputOutcome outcome = output.Open();
    for (std::string_view rest = kContent; !rest.empty();
         rest.remove_prefix(std::min<std::size_t>(1 << 20, rest.size()))) {
        const codec::OutputOutcome written = output.Write(codec::BytesOf(rest.substr(0, 1 << 20)));
        outcome = outcome.IsGood() ? written : outcome;
    }
    codec::OutputOutcome finished = output.Finish();
    EXPECT_TRUE(outcome.IsGood() || outcome.text == finished.text);
    return finished;
}

// `faults` is null where other threads run, which would meet them too.
struct Produced {
    Kind prepared;
    codec::OutputOutcome outcome;  // the last
    int failed;                    // calls that were made to fail
};

Produced Produce(
    const std::string& path, const char* faults, const std::function<void()>& meanwhile = [] {}) {
    OutputFile output;
    if (faults != nullptr) {
        ArmFault(faults);
    }
    codec::OutputOutcome outcome = output.Prepare(path);
    const Kind prepared = outcome.kind;
    if (outcome.IsGood()) {
        meanwhile();
        outcome = WriteAll(output);
    }
    return {prepared, outcome, faults != nullptr ? ArmFault(nullptr) : 0};
}

// Ways to get a name, by what the file system refuses.
constexpr const char* kNoUnnamed = "openat 1";
constexpr const char* kNoLinkByDescriptor = "linkat 1";
constexpr const char* kNoLink = "linkat 1+";

TEST(OutputFileTest, AppearsWholeOrNotAtAllWhateverFails) {
    const struct {
        const char* name;
        const char* faults;
        Kind prepared;
        int error;  // 0: the file is there and whole
        const char* text;
    } rows[] = {
        {"no fault", "none 1", Kind::kGood, 0, ""},
        {"linked through /proc", kNoLinkByDescriptor, Kind::kGood, 0, ""},
        {"no unnamed file: a second link", kNoUnnamed, Kind::kGood, 0, ""},
        {"no second descriptor: a temporary name", "fcntl 1", Kind::kGood, 0, ""},
        {"no link: renamed", kNoLink, Kind::kGood, 0, ""},
        {"neither unnamed nor link: renamed", "openat 1 linkat 1", Kind::kGood, 0, ""},
        {"nothing lets it appear", "linkat 1+ renameat2 1", Kind::kCannot, EINVAL,
         "its directory offers no way to let a file appear whole: Invalid argument"},
        {"nothing can be created", "openat 1+", Kind::kCannot, EOPNOTSUPP, "Operation not supported"},
        {"the link fails at the end", "linkat 2", Kind::kGood, EPERM, "Operation not permitted"},
        {"the second link fails at the end", "openat 1 linkat 2", Kind::kGood, EPERM, "Operation not permitted"},
        {"the rename fails at the end", "linkat 1+ renameat2 2", Kind::kGood, EINVAL, "Invalid argument"},
        {"no space ahead", "fallocate 1", Kind::kGood, 0, ""},
        {"no more space ahead", "fallocate 2", Kind::kGood, 0, ""},
        {"space is not given back", "ftruncate 1", Kind::kGood, EIO, "Input/output error"},
        {"first write", "write 1", Kind::kGood, ENOSPC, "No space left on device"},
        {"last write", "write 4", Kind::kGood, ENOSPC, "No space left on device"},
        {"write under a temporary name", "openat 1 write 2", Kind::kGood, ENOSPC, "No space left on device"},
        {"close of an unnamed file", "close 1", Kind::kGood, EIO, "Input/output error"},
        {"close under a temporary name", "openat 1 close 1", Kind::kGood, EIO, "Input/output error"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        const TempDir directory;
        const Produced produced = Produce(directory / "out", row.faults);
        EXPECT_EQ(produced.failed > 0, row.faults != rows[0].faults) << "the fault was not met";
        EXPECT_EQ(produced.prepared, row.prepared);
        EXPECT_EQ(produced.outcome.kind, row.error == 0 ? Kind::kGood : Kind::kCannot);
        EXPECT_EQ(produced.outcome.error, row.error);
        EXPECT_EQ(produced.outcome.text, row.text);
        EXPECT_EQ(NamesIn(directory), row.error == 0 ? std::set<std::string>{"out"} : std::set<std::string>{});
        if (row.error == 0) {
            struct stat status {};
            ASSERT_EQ(stat((directory / "out").c_str(), &status), 0);
            EXPECT_TRUE(HoldsContent(directory / "out"));
            EXPECT_EQ(status.st_mode & 07777U, 0600U);
            EXPECT_LT(static_cast<std::size_t>(status.st_blocks) * 512, kContent.size() + 65536) << "space is kept";
        }
    }
}

TEST(OutputFileTest, WhatTakesItsNameMeanwhileStays) {
    const std::string longest(255, 'n');
    for (const char* const way : {"none 1", kNoLinkByDescriptor, kNoUnnamed, kNoLink}) {
        SCOPED_TRACE(way);
        const TempDir directory;
        const auto take = [&] { directory.Write("out", "other"), directory.Write("out.1", "third"); };
        const Produced produced = Produce(directory / "out", way, take);
        EXPECT_EQ(produced.outcome.kind, Kind::kTaken);
        EXPECT_EQ(produced.outcome.text, "came into being during the run");
        EXPECT_EQ(produced.outcome.keptAs, directory / "out.2");
        EXPECT_EQ(NamesIn(directory), (std::set<std::string>{"out", "out.1", "out.2"}));
        EXPECT_EQ(directory.Read("out") + directory.Read("out.1"), "otherthird");
        EXPECT_TRUE(HoldsContent(directory / "out.2"));
        const Produced cut = Produce(directory / longest, way, [&] { directory.Write(longest, "other"); });
        EXPECT_EQ(cut.outcome.keptAs, directory / (longest.substr(0, 253) + ".1"));
    }
}

TEST(OutputFileTest, NamesTheTemporaryNameThatItCannotRemove) {
    const TempDir directory;
    const codec::OutputOutcome outcome = Produce(directory / "out", "openat 1 unlinkat 2").outcome;
    EXPECT_TRUE(outcome.IsGood());
    EXPECT_EQ(outcome.text, *NamesIn(directory).begin() + " is left: Input/output error");
}

TEST(OutputFileTest, RefusesWhatExistsAndWhatCannotBe) {
    const TempDir directory;
    directory.Write("file", "content");
    std::filesystem::create_directory(directory / "dir");
    std::filesystem::create_symlink("nowhere", directory / "dangling");
    std::filesystem::create_symlink("loop", directory / "loop");
    std::filesystem::create_symlink("file", directory / "to file");
    std::filesystem::create_symlink("/dev/null", directory / "to device");
    std::filesystem::create_symlink("dir", directory / "to dir");
    const auto before = NamesIn(directory);
    const struct {
        std::string path;
        Kind kind;
        const char* text;
    } rows[] = {
        {directory / "file", Kind::kExists, "exists already"},
        {directory / "dir", Kind::kExists, "exists already"},
        {directory / "dir/", Kind::kExists, "exists already"},
        {directory / "dir/..", Kind::kExists, "exists already"},
        {directory / "dangling", Kind::kExists, "exists already"},
        {directory / "loop", Kind::kExists, "exists already"},
        {directory / "to file", Kind::kExists, "exists already"},
        {directory / "to dir", Kind::kExists, "exists already"},
        {"/", Kind::kExists, "exists already"},
        {"", Kind::kCannot, "No such file or directory"},
        {directory / "missing/out", Kind::kCannot, "No such file or directory"},
        {directory / "missing/", Kind::kCannot, "No such file or directory"},
        {directory / "file/out", Kind::kCannot, "Not a directory"},
        {directory / "loop/out", Kind::kCannot, "Too many levels of symbolic links"},
        {directory / std::string(256, 'n'), Kind::kCannot, "File name too long"},
        {directory / "to dir/out", Kind::kGood, ""},
        {directory / "to device", Kind::kGood, ""},
        {"/dev/null", Kind::kGood, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        OutputFile output;
        const codec::OutputOutcome outcome = output.Prepare(row.path);
        EXPECT_EQ(outcome.kind, row.kind);
        EXPECT_EQ(outcome.text, row.text);
        struct stat status {};
        if (output.GetIdentity()) {
            EXPECT_EQ(stat(row.path.c_str(), &status), 0);
            EXPECT_EQ(*output.GetIdentity(), (FileIdentity{status.st_dev, status.st_ino}));
        }
    }
    EXPECT_EQ(NamesIn(directory), before);
    EXPECT_TRUE(HoldsForOrdinaryUser([] {
        OutputFile output;
        return output.Prepare("/new-file").text == "Permission denied";
    }));
}

TEST(OutputFileTest, IsGoneWhenItIsGivenUp) {
    for (const char* const way : {"none 1", kNoLinkByDescriptor, kNoUnnamed, kNoLink}) {
        SCOPED_TRACE(way);
        const TempDir directory;
        const bool isHidden = way == std::string(kNoUnnamed) || way == std::string(kNoLink);
        for (const char* const end : {"destroyed", "ended by a signal"}) {
            OutputFile done;
            auto given = std::make_unique<OutputFile>();
            ArmFault(way);
            EXPECT_TRUE(done.Prepare(directory / end).IsGood() && done.Finish().IsGood());
            ArmFault(way);
            EXPECT_TRUE(given->Prepare(directory / "out").IsGood());
            ArmFault(nullptr);
            EXPECT_TRUE(given->Write(codec::BytesOf("begun")).IsGood());
            EXPECT_EQ(NamesIn(directory).begin()->starts_with(".out.seamtool-"), isHidden);
            if (end == std::string("destroyed")) {
                given.reset();
            } else {
                OutputFile::RemoveUnfinished();
            }
            EXPECT_FALSE(NamesIn(directory).begin()->starts_with(".out.seamtool-"));
            EXPECT_TRUE(NamesIn(directory).contains(end)) << "what was finished stays";
            EXPECT_TRUE(given == nullptr || given->Finish().error == (isHidden ? ENOENT : 0));
        }
    }
}

TEST(OutputFileTest, FullDiskLeavesNothing) {
    for (const char* const way : {"none 1", kNoUnnamed}) {
        const TempDir directory;
        const ScopedLimit limit(RLIMIT_FSIZE, 2'500'001);
        const Produced produced = Produce(directory / "out", way);
        EXPECT_EQ(produced.outcome.error, EFBIG);
        EXPECT_EQ(produced.outcome.text, "File too large");
        EXPECT_FALSE(produced.outcome.hasReaderLeft);
        EXPECT_EQ(NamesIn(directory).size(), 0U);
    }
}

// Reads until there is nothing more to come, or `most` bytes.
std::string ReadUpTo(int pipe, std::size_t most) {
    std::string got(most, '\0');
    std::size_t size = 0;
    for (ssize_t count = 1; size < most && count > 0; size += static_cast<std::size_t>(std::max<ssize_t>(count, 0))) {
        count = read(pipe, &got[size], most - size);
    }
    return got.substr(0, size);
}

TEST(OutputFileTest, WritesAllToPipesAndSeesTheirReaderLeave) {
    std::signal(SIGPIPE, SIG_IGN);
    const TempDir directory;
    const std::string path = directory / "pipe";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    for (const std::size_t wanted : {kContent.size() + 1, std::size_t{70000}}) {
        std::string got;
        std::thread reader([&] { got = ReadUpTo(MiscUtils::UniqueFd(open(path.c_str(), O_RDONLY)).Get(), wanted); });
        const codec::OutputOutcome outcome = Produce(path, nullptr).outcome;
        reader.join();
        EXPECT_TRUE(got == kContent.substr(0, wanted));
        EXPECT_EQ(outcome.error, wanted > kContent.size() ? 0 : EPIPE);
        EXPECT_EQ(outcome.hasReaderLeft, wanted < kContent.size());
    }
    OutputFile output;
    EXPECT_TRUE(output.Prepare(path).IsGood());
    std::filesystem::remove(path);
    directory.Write("pipe", "other");
    EXPECT_EQ(output.Open().kind, Kind::kExists);
    EXPECT_EQ(directory.Read("pipe"), "other");
}

TEST(OutputFileTest, WritesAllToAStandardOutputThatDoesNotBlock) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const MiscUtils::UniqueFd in(ends[0]), out(ends[1]);
    ASSERT_EQ(fcntl(out.Get(), F_SETFL, O_NONBLOCK), 0);
    std::string got;
    std::thread reader([&] { got = ReadUpTo(in.Get(), kContent.size()); });
    std::fflush(stdout);
    const MiscUtils::UniqueFd before(dup(STDOUT_FILENO));
    dup2(in.Get(), STDOUT_FILENO);
    const codec::OutputOutcome readOnly = OutputFile().Prepare("-");
    dup2(out.Get(), STDOUT_FILENO);
    const codec::OutputOutcome outcome = Produce("-", nullptr).outcome;
    dup2(before.Get(), STDOUT_FILENO);
    reader.join();
    EXPECT_EQ(readOnly.error, EBADF);
    EXPECT_TRUE(outcome.IsGood()) << outcome.text;
    EXPECT_TRUE(got == kContent);
}

TEST(TemporaryNameTest, CutsNoCharacter) {
    EXPECT_EQ(BeginningOf("name", 4), "name");
    EXPECT_EQ(BeginningOf("name", 3), "nam");
    EXPECT_EQ(BeginningOf("n\u00fcx", 2), "n");
    EXPECT_EQ(BeginningOf("n\u00fcx", 3), "n\u00fc");
    EXPECT_EQ(BeginningOf("\U0001F980x", 3), "");
    EXPECT_EQ(BeginningOf("\x80\x80\x80\x80\x80", 4), "\x80\x80\x80\x80") << "no UTF-8";
}

}  // namespace
}  // namespace velora::output
