#include "velora/logging/logger.h"

#include <algorithm>
#include <chrono>
#include <cstdarg>
#include <ctime>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/file_trees.h"
#include "tests/support/log_text.h"
#include "velora/utils/scope_guards.h"

namespace VeloLogger {
namespace {

int CallLogV(CVeloLogger& logger, int level, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int result = logger.LogV(level, format, arguments);
    va_end(arguments);
    return result;
}

std::string SecondOfTheClock() {
    using std::chrono::system_clock;
    const std::time_t second = system_clock::to_time_t(system_clock::now());  // std::time would lag by a tick
    return {std::ctime(&second), 24};
}

struct LoggerOnFileTest : testing::Test {
    TempDir directory;
    CVeloLogger logger{directory / "log"};
};

TEST_F(LoggerOnFileTest, WritesEachLevelWithItsColourAndTag) {
    const std::string red = "\033[31m";
    const std::string blue = "\033[34m";
    const std::string green = "\033[32m";
    const std::tuple<int, std::string, std::string> rows[] = {
        {-1, "", "ILLEG"},  {0, "\033[1;31m", "EMERG"}, {1, "\033[1;31m", "FATAL"}, {2, red, "ALERT"},
        {3, red, "CRIT "},  {4, red, "ERROR"},          {5, "\033[35m", "WARN "},   {6, blue, "NOTIC"},
        {7, blue, "INFO "}, {8, green, "DEBUG"},        {9, green, "NOTSE"},        {10, "", "ILLEG"},
        {11, "", "ILLEG"}};
    for (const auto& [level, colour, tag] : rows) {
        SCOPED_TRACE(level);
        logger.Open(directory / std::to_string(level));
        const std::string before = colour + SecondOfTheClock() + ".";
        EXPECT_EQ(logger.Write(level, "50% of %s"), 1);
        const std::string after = colour + SecondOfTheClock() + ".";
        const std::string line = directory.Read(std::to_string(level));
        EXPECT_TRUE(line.starts_with(before) || line.starts_with(after)) << line;
        EXPECT_EQ(line.find_first_not_of("0123456789", before.size()), before.size() + 6) << line;
        EXPECT_EQ(line.substr(before.size() + 6), " " + tag + " 50% of %s" + (colour.empty() ? "" : "\033[m") + "\n");
    }
}

TEST_F(LoggerOnFileTest, AdmitsMessagesUpToItsThreshold) {
    const std::pair<const char*, void (CVeloLogger::*)(const char*, ...)> operations[] = {
        {"EMERG ", &CVeloLogger::Emerg},  {"FATAL ", &CVeloLogger::Fatal}, {"ALERT ", &CVeloLogger::Alert},
        {"CRIT  ", &CVeloLogger::Crit},   {"ERROR ", &CVeloLogger::Error}, {"WARN  ", &CVeloLogger::Warn},
        {"NOTIC ", &CVeloLogger::Notice}, {"INFO  ", &CVeloLogger::Info},  {"DEBUG ", &CVeloLogger::Debug}};
    for (int threshold = -1; threshold <= 9; ++threshold) {
        logger.SetLevel(threshold);
        logger.Open(directory / std::to_string(threshold));
        Lines expected;
        for (int level = 0; level <= 8; ++level) {
            const auto& [tag, operation] = operations[level];
            (logger.*operation)("value %d", 7);
            *logger.Stream(level) << "value " << 8;
            if (level <= threshold) {
                expected.insert(expected.end(), {tag + std::string("value 7"), tag + std::string("value 8")});
            }
        }
        EXPECT_EQ(LogLines(logger.FileName()), expected) << threshold;
    }
}

TEST_F(LoggerOnFileTest, CutsFormattedMessagesAt511AndNoOthers) {
    const std::string message(512, 'x');
    logger.Error("%s", message.c_str());
    *logger.Stream(Level::kError) << message;
    EXPECT_EQ(LogLines(directory / "log"), (Lines{"ERROR " + message.substr(1), "ERROR " + message}));
}

TEST_F(LoggerOnFileTest, CompletesALineOnce) {
    {
        const auto line = logger.Stream(Level::kWarn);
        *line << "pkts=" << 120 << ",bytes=" << std::uint64_t{73450};
        EXPECT_EQ(directory.Read("log"), "") << "before the line is complete";
        line->Complete();
        *line << "too late";
        const auto empty = logger.Stream(Level::kWarn);
    }
    EXPECT_EQ(LogLines(directory / "log"), (Lines{"WARN  pkts=120,bytes=73450", "WARN  "}));
}

TEST(LoggerTest, WithoutAStreamTakesEverythingAndWritesNothing) {
    CVeloLogger unopened;
    CVeloLogger unknownMode(static_cast<LoggerMode>(3));
    CVeloLogger badPath(std::string("/nonexistent/log"));
    const std::tuple<CVeloLogger*, const char*, int> rows[] = {
        {&unopened, "", 8}, {&unknownMode, "", 8}, {&badPath, "/nonexistent/log", 5}};
    for (const auto& [logger, name, level] : rows) {
        EXPECT_EQ(logger->GetLevel(), level);
        EXPECT_EQ(logger->Write(Level::kEmerg, "text"), 0);
        EXPECT_EQ(CallLogV(*logger, Level::kEmerg, "%d", 1), 0);
        logger->Emerg("text");
        *logger->Stream(Level::kEmerg) << "text";
        logger->Close();
        EXPECT_EQ(logger->FileName(), name) << "nothing was closed";
    }
}

TEST(LoggerTest, CloseDeletesAnEmptyFileAndTheDestructorNone) {
    const TempDir directory;
    {
        CVeloLogger logger(directory / "empty");
        logger.Close();
        EXPECT_EQ(logger.FileName(), "closed");
        EXPECT_FALSE(std::filesystem::exists(directory / "empty"));
        EXPECT_EQ(logger.Write(Level::kEmerg, "after"), 0);

        EXPECT_TRUE(logger.Open(directory / "written"));
        EXPECT_EQ(CallLogV(logger, Level::kDebug, "%s", "no threshold test"), 1);
        logger.Close();
        EXPECT_TRUE(logger.Open(directory / "kept"));
        EXPECT_FALSE(logger.Open("/nonexistent/log"));
        EXPECT_EQ(logger.FileName(), "/nonexistent/log");
        EXPECT_EQ(logger.Write(Level::kEmerg, "nowhere"), 0);
        EXPECT_TRUE(logger.Open(directory / "written"));
        logger.Emerg("appended");
        EXPECT_TRUE(logger.Open(directory / "kept too"));
    }
    EXPECT_EQ(LogLines(directory / "written"), (Lines{"DEBUG no threshold test", "EMERG appended"}));
    EXPECT_TRUE(std::filesystem::exists(directory / "kept"));
    EXPECT_TRUE(std::filesystem::exists(directory / "kept too"));
}

TEST(LoggerTest, ModesChooseTheStream) {
    const DescriptorWatch nothingStaysOpen;
    std::string path;
    {
        CVeloLogger temporary(LoggerMode::TemporaryFile);
        path = temporary.FileName();
        EXPECT_TRUE(path.starts_with("/tmp/Velo.log.") && path.size() == 20) << path;
        temporary.Debug("all levels");
    }
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms{0600});
    EXPECT_EQ(LogLines(path), Lines{"DEBUG all levels"});
    unlink(path.c_str());

    CVeloLogger null(LoggerMode::NullDevice);
    EXPECT_EQ(null.FileName(), "/dev/null");
    EXPECT_EQ(null.Write(Level::kDebug, "text"), 1);
}

TEST(LoggerTest, CloseKeepsAnEmptyFileThatIsNotRegular) {
    const ScratchDir scratch;
    Plant(scratch, "pipe!");  // not the null device, which root would lose to a fault
    const MiscUtils::UniqueFd reader(open((scratch / "pipe").c_str(), O_RDONLY | O_NONBLOCK));
    CVeloLogger(scratch / "pipe").Close();
    EXPECT_TRUE(std::filesystem::is_fifo(scratch / "pipe"));
}

TEST(LoggerTest, StandardErrorIsClosedByCloseAndNotByTheDestructor) {
    EXPECT_EXIT(
        {
            { CVeloLogger(LoggerMode::StandardError).Debug("first"); }
            CVeloLogger second(LoggerMode::StandardError);
            const bool isUnnamed = second.FileName().empty();
            second.Debug("second");
            second.Close();
            _exit(isUnnamed && fcntl(STDERR_FILENO, F_GETFD) == -1 && second.FileName() == "closed" ? 0 : 1);
        },
        testing::ExitedWithCode(0), "DEBUG first.*\n.* DEBUG second");
}

TEST(LoggerTest, TakesDescriptorZeroForAFailure) {
    EXPECT_EXIT(
        {
            close(STDIN_FILENO);
            CVeloLogger logger(LoggerMode::TemporaryFile);
            char path[64] = "";
            const bool isOpen = readlink("/proc/self/fd/0", path, sizeof path - 1) > 0;
            unlink(path);
            _exit(isOpen && logger.FileName().empty() && logger.Write(Level::kEmerg, "nowhere") == 0 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(LoggerOnFileTest, LinesOfManyThreadsNeverMix) {
    const std::string text(300, 'x');
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([&, thread] {
            for (int line = 0; line < 200; ++line) {
                *logger.Stream(Level::kError) << text;
                logger.Error("%s", text.c_str());
                if (thread == 0) {
                    logger.SetLevel(5 + line % 2);
                    logger.Open(directory / "log");
                }
            }
        });
    }
    std::ranges::for_each(threads, &std::thread::join);
    const Lines lines = LogLines(directory / "log");
    EXPECT_EQ(lines, Lines(std::size_t{8} * 200 * 2, "ERROR " + text)) << "lost while the file was reopened, or mixed";
}

}  // namespace
}  // namespace VeloLogger
