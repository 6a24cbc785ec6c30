// An output appears whole or not at all, whatever the file system offers and whichever call fails.

#include "velora/output/output_file.h"

#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include "tests/codec/string_sink.h"
#include "tests/support/limits.h"
#include "tests/support/temp_dir.h"

extern "C" int ArmFault(const char* plan);

namespace velora::output {
namespace {

using Kind = codec::OutputOutcome::Kind;

const std::string kContent = codec::Noise(3'300'000);  // space ahead is asked for twice

// What happens while an output is written. Threads that run meanwhile meet the faults, too.
struct Circumstances {
    const char* faults = nullptr;
    std::function<void()> meanwhile = {};
    FileOptions options = {};
};

// Writes the content in pieces to a new output, and finishes even after a failure, which has to be told again.
codec::OutputOutcome Produce(const std::string& path, const Circumstances& in = {}) {
    OutputFile output;
    if (in.faults != nullptr) {
        ArmFault(in.faults);
    }
    codec::OutputOutcome outcome = output.Prepare(path, in.options);
    if (outcome.IsGood()) {
        in.meanwhile ? in.meanwhile() : void();
        outcome = output.Open();
        for (std::size_t at = 0; at < kContent.size(); at += 1 << 20U) {
            const auto written = output.Write(codec::BytesOf(std::string_view(kContent).substr(at, 1 << 20U)));
            outcome = outcome.IsGood() ? written : outcome;
        }
        const codec::OutputOutcome finished = output.Finish();
        EXPECT_TRUE(outcome.IsGood() || outcome.text == finished.text);
        outcome = finished;
    }
    EXPECT_TRUE(in.faults == nullptr || ArmFault(nullptr) > 0) << "a fault is to be met";
    return outcome;
}

// Ways to get a name, by what fails: nothing, the link by descriptor, the file without a name, every link.
constexpr const char* kWays[] = {nullptr, "linkat 1", "openat 1", "linkat 1+"};

TEST(OutputFileTest, AppearsWholeOrNotAtAllWhateverFails) {
    const struct {
        const char* about;
        const char* faults;
        int error = 0;  // 0: the file is there and whole
    } rows[] = {
        {.about = "linked through /proc", .faults = "linkat 1"},
        {.about = "no unnamed file: a second link", .faults = "openat 1"},
        {.about = "no second descriptor: a temporary name", .faults = "fcntl 1"},
        {.about = "no link: renamed", .faults = "linkat 1+"},
        {.about = "no way to appear", .faults = "linkat 1+ renameat2 1", .error = EINVAL},
        {.about = "nothing can be created", .faults = "openat 1+", .error = EOPNOTSUPP},
        {.about = "the link fails at the end", .faults = "linkat 2", .error = EPERM},
        {.about = "the rename fails at the end", .faults = "linkat 1+ renameat2 2", .error = EINVAL},
        {.about = "no more space ahead", .faults = "fallocate 2"},
        {.about = "space is not given back", .faults = "ftruncate 1", .error = EIO},
        {.about = "last write", .faults = "write 4", .error = ENOSPC},
        {.about = "close of an unnamed file", .faults = "close 1", .error = EIO},
        {.about = "close under a temporary name", .faults = "openat 1 close 1", .error = EIO},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.about);
        const TempDir directory;
        const codec::OutputOutcome outcome = Produce(directory / "out", {.faults = row.faults});
        EXPECT_EQ(outcome.error, row.error);
        EXPECT_EQ(outcome.kind, row.error != 0 ? Kind::kCannot : Kind::kGood);
        EXPECT_TRUE(row.error != 0 ? outcome.text.ends_with(std::strerror(row.error)) : outcome.text.empty());
        EXPECT_EQ(directory.Names().size(), row.error != 0 ? 0U : 1U);
        EXPECT_TRUE(row.error != 0 || directory.Read("out") == kContent);
    }
}

TEST(OutputFileTest, HasTheModeThatIsAskedForAndTakesNoSpaceBehindItsEnd) {
    const mode_t before = umask(026);
    for (const char* const way : kWays) {
        for (const mode_t mode : {0666U, 0444U}) {
            const TempDir directory;
            EXPECT_TRUE(Produce(directory / "out", {.faults = way, .options = {.mode = mode}}).IsGood());
            struct stat status {};
            ASSERT_EQ(stat((directory / "out").c_str(), &status), 0);
            EXPECT_EQ(status.st_mode & 07777U, mode & ~026U);
            EXPECT_LT(static_cast<std::size_t>(status.st_blocks) * 512, kContent.size() + 65536);
        }
    }
    umask(before);
}

TEST(OutputFileTest, ReplacesARegularFileAtItsEndWhereThatIsAskedFor) {
    const FileOptions replacing{.replacesExisting = true};
    for (const char* const way : kWays) {
        const TempDir directory;
        const std::string out = directory.Write("out", "before");
        for (const char* const faults : {"write 2", "renameat2 1"}) {
            EXPECT_FALSE(way == nullptr && Produce(out, {.faults = faults, .options = replacing}).IsGood());
        }
        const auto look = [&] { EXPECT_EQ(directory.Read("out"), "before"); };
        EXPECT_TRUE(Produce(out, {.faults = way, .meanwhile = look, .options = replacing}).IsGood());
        EXPECT_TRUE(Produce(directory / "new", {.faults = way, .options = replacing}).IsGood());
        EXPECT_TRUE(directory.Read("out") == kContent && directory.Read("new") == kContent);
        EXPECT_EQ(directory.Names().size(), 2U);
        const auto takeOver = [&] { std::filesystem::remove(out), std::filesystem::create_directory(out); };
        EXPECT_EQ(Produce(out, {.faults = way, .meanwhile = takeOver, .options = replacing}).keptAs, out + ".1");
    }
}

TEST(OutputFileTest, WhatTakesItsNameMeanwhileStays) {
    const std::string longest(255, 'n');
    for (const char* const way : kWays) {
        const TempDir directory;
        const auto take = [&] { directory.Write("out", "other"), directory.Write("out.1", "third"); };
        const codec::OutputOutcome outcome = Produce(directory / "out", {.faults = way, .meanwhile = take});
        EXPECT_EQ(outcome.kind, Kind::kTaken);
        EXPECT_EQ(outcome.keptAs, directory / "out.2");
        EXPECT_EQ(directory.Names(), (std::set<std::string>{"out", "out.1", "out.2"}));
        EXPECT_EQ(directory.Read("out") + directory.Read("out.1"), "otherthird");
        EXPECT_TRUE(directory.Read("out.2") == kContent);
        const auto takeLongest = [&] { directory.Write(longest, "other"); };
        EXPECT_EQ(Produce(directory / longest, {.faults = way, .meanwhile = takeLongest}).keptAs,
                  directory / (longest.substr(0, 253) + ".1"));
    }
}

TEST(OutputFileTest, NamesTheTemporaryNameThatItCannotRemove) {
    const TempDir directory;
    const codec::OutputOutcome outcome = Produce(directory / "out", {.faults = "openat 1 unlinkat 2"});
    EXPECT_TRUE(outcome.IsGood());
    EXPECT_EQ(outcome.text, *directory.Names().begin() + " is left: Input/output error");
}

TEST(OutputFileTest, RefusesWhatExistsAndWhatCannotBe) {
    const std::string exists = "exists already", isIrregular = "is no regular file, which could be replaced";
    const struct {
        std::string path;
        std::string refusal;
        std::string whereReplacing = refusal;
    } rows[] = {
        {.path = "file", .refusal = exists, .whereReplacing = ""},
        {.path = "dir", .refusal = exists, .whereReplacing = isIrregular},
        {.path = "dir/", .refusal = exists, .whereReplacing = isIrregular},
        {.path = "dangling", .refusal = exists, .whereReplacing = isIrregular},
        {.path = "to dir", .refusal = exists, .whereReplacing = isIrregular},
        {.path = "to dir/out", .refusal = ""},
        {.path = "to device", .refusal = ""},
        {.path = "file/out", .refusal = "Not a directory"},
        {.path = std::string(256, 'n'), .refusal = "File name too long"},
    };
    const TempDir directory;
    directory.Write("file", "content");
    std::filesystem::create_directory(directory / "dir");
    std::filesystem::create_symlink("nowhere", directory / "dangling");
    std::filesystem::create_symlink("/dev/null", directory / "to device");
    std::filesystem::create_symlink("dir", directory / "to dir");
    const auto before = directory.Names();
    for (const auto& row : rows) {
        OutputFile output;
        const codec::OutputOutcome outcome = output.Prepare(directory / row.path);
        EXPECT_EQ(outcome.text, row.refusal) << row.path;
        EXPECT_TRUE(outcome.text.empty() || (outcome.kind == Kind::kExists) == (row.refusal == exists)) << row.path;
        EXPECT_EQ(output.GetIdentity().has_value(), row.path == "to device");
        EXPECT_EQ(OutputFile().Prepare(directory / row.path, {.replacesExisting = true}).text, row.whereReplacing);
    }
    EXPECT_EQ(OutputFile().Prepare("").error, ENOENT);
    EXPECT_EQ(directory.Names(), before);
    EXPECT_TRUE(HoldsForOrdinaryUser([] { return OutputFile().Prepare("/new-file").text == "Permission denied"; }));
}

// So many that the names kept for a handler need more room than at first.
TEST(OutputFileTest, IsGoneWhenItIsGivenUp) {
    for (const char* const way : kWays) {
        for (const bool isSignalled : {false, true}) {
            const TempDir directory;
            std::vector<OutputFile> outputs(100);
            for (std::size_t number = 0; number < outputs.size(); ++number) {
                ArmFault(way);
                EXPECT_TRUE(outputs[number].Prepare(directory / std::to_string(number)).IsGood());
                ArmFault(nullptr);
                EXPECT_TRUE(outputs[number].Write(codec::BytesOf("begun")).IsGood());
            }
            const bool isUnnamed = way == nullptr || way == std::string("linkat 1");
            EXPECT_EQ(directory.Names().size(), isUnnamed ? 0 : outputs.size()) << "temporary names";
            EXPECT_TRUE(outputs[98].Finish().IsGood());
            isSignalled ? OutputFile::RemoveUnfinished() : outputs.clear();
            EXPECT_EQ(directory.Names(), std::set<std::string>{"98"}) << "what was finished stays";
        }
    }
}

// Reads to the end, or `most` bytes.
// Not by a stream: under the thread sanitizer the opening of a FIFO by fopen waits for ever.
std::string ReadUpTo(const std::string& path, std::size_t most) {
    const MiscUtils::UniqueFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::string got(most, '\0');
    ssize_t count = 0;
    for (ssize_t now = 1; now > 0 && count < std::ssize(got); count += std::max<ssize_t>(now, 0)) {
        now = read(fd.Get(), got.data() + count, most - static_cast<std::size_t>(count));
    }
    return got.substr(0, static_cast<std::size_t>(count));
}

TEST(OutputFileTest, WritesAllToPipesAndSeesTheirReaderLeave) {
    const TempDir directory;
    const std::string path = directory / "pipe";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const auto expectAll = [&](const std::string& output, std::size_t wanted, bool leaves) {
        std::string got;
        codec::OutputOutcome outcome;
        {
            const std::jthread reader([&] { got = ReadUpTo(path, wanted); });
            outcome = Produce(output);
        }
        EXPECT_TRUE(got == kContent.substr(0, wanted));
        EXPECT_TRUE(outcome.error == (leaves ? EPIPE : 0) && outcome.hasReaderLeft == leaves) << outcome.text;
    };
    expectAll(path, kContent.size() + 1, false);
    expectAll(path, 70000, true);
    const MiscUtils::UniqueFd notBlocking(open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    std::fflush(stdout);
    const MiscUtils::UniqueFd before(dup(STDOUT_FILENO));
    dup2(notBlocking.Get(), STDOUT_FILENO);
    expectAll("-", kContent.size(), false);
    dup2(before.Get(), STDOUT_FILENO);
    const auto takeOver = [&] { std::filesystem::remove(path), directory.Write("pipe", "other"); };
    EXPECT_EQ(Produce(path, {.meanwhile = takeOver}).kind, Kind::kExists);
}

// In a process that does nothing about these signals, and by the thread that writes.
TEST(OutputFileTest, FailsWithoutASignal) {
    const TempDir directory;
    const auto exitsAs = [&](const std::string& path, int signal, int error) {
        std::signal(signal, SIG_DFL);
        const bool isRight = Produce(path).error == error;
        sigset_t pending, mask;
        sigpending(&pending);
        sigprocmask(SIG_SETMASK, nullptr, &mask);
        std::_Exit(isRight && sigismember(&pending, signal) == 0 && sigismember(&mask, signal) == 0 ? 0 : 1);
    };
    const auto withLimit = [&] {
        const ScopedLimit limit(RLIMIT_FSIZE, 2'000'000);
        exitsAs(directory / "limited", SIGXFSZ, EFBIG);
    };
    EXPECT_EXIT(withLimit(), testing::ExitedWithCode(0), "");
    for (const bool isSocket : {false, true}) {
        int ends[2];
        ASSERT_EQ(isSocket ? socketpair(AF_UNIX, SOCK_STREAM, 0, ends) : pipe(ends), 0);
        close(ends[0]);
        const MiscUtils::UniqueFd writing(ends[1]);
        const auto withoutReader = [&] {
            dup2(writing.Get(), STDOUT_FILENO);
            exitsAs("-", SIGPIPE, EPIPE);
        };
        EXPECT_EXIT(withoutReader(), testing::ExitedWithCode(0), "");
    }
}

TEST(TemporaryNameTest, CutsNoCharacter) {
    EXPECT_EQ(BeginningOf("n\u00fcx", 2), "n");
    EXPECT_EQ(BeginningOf("n\u00fcx", 3), "n\u00fc");
    EXPECT_EQ(BeginningOf("\U0001F980x", 3), "");
    EXPECT_EQ(BeginningOf("\x80\x80\x80\x80\x80", 4), "\x80\x80\x80\x80") << "no UTF-8";
}

}  // namespace
}  // namespace velora::output
