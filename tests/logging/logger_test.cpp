#include "logging/logger.h"

#include <algorithm>
#include <chrono>
#include <cstdarg>
#include <ctime>
#include <set>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/log_text.h"
#include "tests/support/temp_dir.h"

namespace VeloLogger {
namespace {

int CallLogV(CVeloLogger& logger, int level, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int result = logger.LogV(level, format, arguments);
    va_end(arguments);
    return result;
}

TEST(LoggerTest, WritesEachLevelWithItsColourAndTag) {
    using clock = std::chrono::system_clock;
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
        const TempDir directory;
        CVeloLogger logger(directory / "log");
        const std::time_t before = clock::to_time_t(clock::now());  // std::time would lag by a tick
        EXPECT_EQ(logger.Write(level, "50% of %s"), 1);
        // The time is one of those between two readings of the clock, as local time.
        std::set<std::string> times;
        for (std::time_t second = before; second <= clock::to_time_t(clock::now()); ++second) {
            char text[64];
            std::strftime(text, sizeof text, "%a %b %e %H:%M:%S %Y.", std::localtime(&second));
            times.insert(colour + text);
        }
        const std::string line = directory.Read("log");
        EXPECT_TRUE(times.contains(line.substr(0, colour.size() + 25))) << line;
        const std::string rest = line.substr(colour.size() + 25);
        EXPECT_EQ(rest.find_first_not_of("0123456789"), 6U) << line;
        EXPECT_EQ(rest.substr(6), " " + tag + " 50% of %s" + (colour.empty() ? "" : "\033[m") + "\n");
    }
}

TEST(LoggerTest, AdmitsMessagesUpToItsThreshold) {
    const std::pair<const char*, void (CVeloLogger::*)(const char*, ...)> operations[] = {
        {"EMERG ", &CVeloLogger::Emerg},  {"FATAL ", &CVeloLogger::Fatal}, {"ALERT ", &CVeloLogger::Alert},
        {"CRIT  ", &CVeloLogger::Crit},   {"ERROR ", &CVeloLogger::Error}, {"WARN  ", &CVeloLogger::Warn},
        {"NOTIC ", &CVeloLogger::Notice}, {"INFO  ", &CVeloLogger::Info},  {"DEBUG ", &CVeloLogger::Debug}};
    const TempDir directory;
    CVeloLogger logger(directory / "log");
    EXPECT_EQ(logger.GetLevel(), 5) << "a logger on a caller's file";
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

TEST(LoggerTest, CutsFormattedMessagesAt511AndNoOthers) {
    const TempDir directory;
    CVeloLogger logger(directory / "log");
    Lines expected;
    for (const std::size_t length : {510U, 511U, 512U, 600U}) {
        const std::string message(length, 'x');
        logger.Error("%s", message.c_str());
        *logger.Stream(Level::kError) << message;
        expected.insert(expected.end(), {"ERROR " + message.substr(0, 511), "ERROR " + message});
    }
    EXPECT_EQ(LogLines(directory / "log"), expected);
}

TEST(LoggerTest, CompletesALineOnce) {
    const TempDir directory;
    CVeloLogger logger(directory / "log");
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
    EXPECT_EQ(unopened.GetLevel(), 8);
    EXPECT_EQ(unknownMode.GetLevel(), 8);
    for (const auto& [logger, name] : {std::pair{&unopened, ""}, {&unknownMode, ""}, {&badPath, "/nonexistent/log"}}) {
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
    std::string path;
    {
        CVeloLogger temporary(LoggerMode::TemporaryFile);
        path = temporary.FileName();
        EXPECT_TRUE(path.starts_with("/tmp/Velo.log.") && path.size() == 20) << path;
        temporary.Debug("all levels");
    }
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
    EXPECT_EQ(LogLines(path), Lines{"DEBUG all levels"});
    unlink(path.c_str());

    CVeloLogger null(LoggerMode::NullDevice);
    EXPECT_EQ(null.FileName(), "/dev/null");
    EXPECT_EQ(null.Write(Level::kDebug, "text"), 1);
    null.Close();
    EXPECT_TRUE(std::filesystem::exists("/dev/null"));
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

TEST(LoggerTest, LinesOfManyThreadsNeverMix) {
    const TempDir directory;
    CVeloLogger logger(directory / "log");
    std::set<std::string> expected;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread) {
        const std::string text = std::to_string(thread) + std::string(300, 'x');
        for (int line = 0; line < 200; ++line) {
            expected.insert({"ERROR s" + text + std::to_string(line), "ERROR f" + text + std::to_string(line)});
        }
        threads.emplace_back([&logger, &directory, thread, text] {
            for (int line = 0; line < 200; ++line) {
                *logger.Stream(Level::kError) << "s" << text << line;
                logger.Error("f%s%d", text.c_str(), line);
                if (thread == 0 && line % 50 == 0) {
                    logger.SetLevel(5 + line % 2);
                    logger.Open(directory / "log");
                }
            }
        });
    }
    std::ranges::for_each(threads, &std::thread::join);
    const Lines lines = LogLines(directory / "log");
    const std::set<std::string> seen(lines.begin(), lines.end());
    // A line that met the short moment of reopening is lost as a whole; none may be damaged.
    EXPECT_TRUE(std::ranges::includes(expected, seen));
    EXPECT_GT(seen.size(), expected.size() / 2);
}

}  // namespace
}  // namespace VeloLogger
