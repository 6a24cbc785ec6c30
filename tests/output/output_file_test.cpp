// An output appears whole or not at all, whatever the file system offers and whichever call fails.

#include "velora/output/output_file.h"

#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
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
        const char* about;
        const char* faults;
        int error = 0;  // 0: the file is there and whole
        Kind prepared = Kind::kGood;
    } rows[] = {
        {.about = "linked through /proc", .faults = kNoLinkByDescriptor},
        {.about = "no unnamed file: a second link", .faults = kNoUnnamed},
        {.about = "no second descriptor: a temporary name", .faults = "fcntl 1"},
        {.about = "no link: renamed", .faults = kNoLink},
        {.about = "neither unnamed nor link: renamed", .faults = "openat 1 linkat 1"},
        {.about = "no way to appear", .faults = "linkat 1+ renameat2 1", .error = EINVAL, .prepared = Kind::kCannot},
        {.about = "nothing can be created", .faults = "openat 1+", .error = EOPNOTSUPP, .prepared = Kind::kCannot},
        {.about = "the link fails at the end", .faults = "linkat 2", .error = EPERM},
        {.about = "the second link fails at the end", .faults = "openat 1 linkat 2", .error = EPERM},
        {.about = "the rename fails at the end", .faults = "linkat 1+ renameat2 2", .error = EINVAL},
        {.about = "no space ahead", .faults = "fallocate 1"},
        {.about = "no more space ahead", .faults = "fallocate 2"},
        {.about = "space is not given back", .faults = "ftruncate 1", .error = EIO},
        {.about = "first write", .faults = "write 1", .error = ENOSPC},
        {.about = "last write", .faults = "write 4", .error = ENOSPC},
        {.about = "write under a temporary name", .faults = "openat 1 write 2", .error = ENOSPC},
        {.about = "close of an unnamed file", .faults = "close 1", .error = EIO},
        {.about = "close under a temporary name", .faults = "openat 1 close 1", .error = EIO},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.about);
        const TempDir directory;
        const Produced produced = Produce(directory / "out", row.faults);
        EXPECT_GT(produced.failed, 0) << "the fault was not met";
        EXPECT_EQ(produced.prepared, row.prepared);
        EXPECT_EQ(produced.outcome.error, row.error);
        if (row.error != 0) {
            EXPECT_EQ(produced.outcome.kind, Kind::kCannot);
            EXPECT_TRUE(produced.outcome.text.ends_with(std::strerror(row.error))) << produced.outcome.text;
            EXPECT_TRUE(directory.Names().empty());
        } else {
            EXPECT_TRUE(produced.outcome.IsGood() && produced.outcome.text.empty()) << produced.outcome.text;
            EXPECT_EQ(directory.Names(), std::set<std::string>{"out"});
            EXPECT_TRUE(HoldsContent(directory / "out"));
        }
    }
    EXPECT_EQ(Produce(TempDir() / "out", "linkat 1+ renameat2 1").outcome.text,
              "its directory offers no way to let a file appear whole: Invalid argument");
}

TEST(OutputFileTest, IsForItsOwnerAndTakesNoSpaceBehindItsEnd) {
    const TempDir directory;
    EXPECT_TRUE(Produce(directory / "out", "none 1").outcome.IsGood());
    struct stat status {};
    ASSERT_EQ(stat((directory / "out").c_str(), &status), 0);
    EXPECT_TRUE(HoldsContent(directory / "out"));
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
    EXPECT_LT(static_cast<std::size_t>(status.st_blocks) * 512, kContent.size() + 65536);
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
        EXPECT_EQ(directory.Names(), (std::set<std::string>{"out", "out.1", "out.2"}));
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
    EXPECT_EQ(outcome.text, *directory.Names().begin() + " is left: Input/output error");
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
    const auto before = directory.Names();
    for (const char* const name : {"file", "dir", "dir/", "dir/..", "dangling", "loop", "to file", "to dir", "/"}) {
        const codec::OutputOutcome outcome = OutputFile().Prepare(directory / name);
        EXPECT_TRUE(outcome.kind == Kind::kExists && outcome.text == "exists already") << name << outcome.text;
    }
    const struct {
        std::string path;
        int error;
    } rows[] = {
        {.path = "", .error = ENOENT},
        {.path = directory / "missing/out", .error = ENOENT},
        {.path = directory / "missing/", .error = ENOENT},
        {.path = directory / "file/out", .error = ENOTDIR},
        {.path = directory / "loop/out", .error = ELOOP},
        {.path = directory / std::string(256, 'n'), .error = ENAMETOOLONG},
    };
    for (const auto& row : rows) {
        const codec::OutputOutcome outcome = OutputFile().Prepare(row.path);
        EXPECT_TRUE(outcome.kind == Kind::kCannot && outcome.text == std::strerror(row.error)) << outcome.text;
    }
    for (const std::string& path : {directory / "to dir/out", directory / "to device", std::string("/dev/null")}) {
        OutputFile output;
        EXPECT_TRUE(output.Prepare(path).IsGood()) << path;
        struct stat status {};
        EXPECT_EQ(output.GetIdentity().has_value(), stat(path.c_str(), &status) == 0) << path;
        EXPECT_TRUE(!output.GetIdentity() || *output.GetIdentity() == (FileIdentity{status.st_dev, status.st_ino}));
    }
    EXPECT_EQ(directory.Names(), before);
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
            EXPECT_EQ(directory.Names().begin()->starts_with(".out.seamtool-"), isHidden);
            if (end == std::string("destroyed")) {
                given.reset();
            } else {
                OutputFile::RemoveUnfinished();
            }
            EXPECT_FALSE(directory.Names().begin()->starts_with(".out.seamtool-"));
            EXPECT_TRUE(directory.Names().contains(end)) << "what was finished stays";
            EXPECT_TRUE(given == nullptr || given->Finish().error == (isHidden ? ENOENT : 0));
        }
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
