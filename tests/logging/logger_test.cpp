#include "logging/logger.h"

#include <algorithm>
#include <cstdarg>
#include <ctime>
#include <filesystem>
#include <set>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
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
    struct Row {
        int level;
        const char* colour;
        const char* tag;
        const char* reset;
    };
    const Row rows[] = {{0, "\033[1;31m", "EMERG", "\033[m"},
                        {1, "\033[1;31m", "FATAL", "\033[m"},
                        {2, "\033[31m", "ALERT", "\033[m"},
                        {3, "\033[31m", "CRIT ", "\033[m"},
                        {4, "\033[31m", "ERROR", "\033[m"},
                        {5, "\033[35m", "WARN ", "\033[m"},
                        {6, "\033[34m", "NOTIC", "\033[m"},
                        {7, "\033[34m", "INFO ", "\033[m"},
                        {8, "\033[32m", "DEBUG", "\033[m"},
                        {9, "\033[32m", "NOTSE", "\033[m"},
                        {10, "", "ILLEG", ""}};
    for (const Row& row : rows) {
        SCOPED_TRACE(row.level);
        const TempDir directory;
        CVeloLogger logger(directory.Path("log"));
        const std::time_t before = std::time(nullptr);
        EXPECT_EQ(logger.Write(row.level, "50% of %s"), 1);
        const std::time_t after = std::time(nullptr);

        const std::string line = directory.Read("log");
        const std::string colour = row.colour;
        ASSERT_EQ(line.substr(0, colour.size()), colour);
        // The time is one of those between the two readings of the clock, as local time.
        std::set<std::string> times;
        for (std::time_t second = before; second <= after; ++second) {
            char text[64];
            std::strftime(text, sizeof text, "%a %b %e %H:%M:%S %Y", std::localtime(&second));
            times.insert(text);
        }
        EXPECT_TRUE(times.contains(line.substr(colour.size(), 24))) << line;
        const std::string rest = line.substr(colour.size() + 24);
        ASSERT_EQ(rest.substr(0, 1), ".");
        EXPECT_EQ(rest.substr(1, 6).find_first_not_of("0123456789"), std::string::npos);
        EXPECT_EQ(rest.substr(7), std::string(" ") + row.tag + " 50% of %s" + row.reset + "\n");
    }
}

TEST(LoggerTest, AdmitsMessagesUpToItsThreshold) {
    using Operation = void (CVeloLogger::*)(const char*, ...);
    const Operation operations[] = {&CVeloLogger::Emerg,  &CVeloLogger::Fatal, &CVeloLogger::Alert,
                                    &CVeloLogger::Crit,   &CVeloLogger::Error, &CVeloLogger::Warn,
                                    &CVeloLogger::Notice, &CVeloLogger::Info,  &CVeloLogger::Debug};
    const TempDir directory;
    CVeloLogger logger(directory.Path("log"));
    EXPECT_EQ(logger.GetLevel(), 5) << "a logger on a caller's file";
    for (int threshold = -1; threshold <= 9; ++threshold) {
        logger.SetLevel(threshold);
        logger.Open(directory.Path("threshold" + std::to_string(threshold)));
        for (const Operation operation : operations) {
            (logger.*operation)("value %d", 7);
        }
        const auto lines = LogLines(logger.FileName());
        const std::vector<std::string> all = {"EMERG value 7", "FATAL value 7", "ALERT value 7",
                                              "CRIT  value 7", "ERROR value 7", "WARN  value 7",
                                              "NOTIC value 7", "INFO  value 7", "DEBUG value 7"};
        const auto count =
            static_cast<std::ptrdiff_t>(std::min<std::size_t>(static_cast<std::size_t>(threshold + 1), all.size()));
        EXPECT_EQ(lines, std::vector<std::string>(all.begin(), all.begin() + count)) << threshold;
        for (int level = 0; level <= 8; ++level) {
            EXPECT_EQ(logger.Stream(level)->IsEnabled(), level <= threshold);
        }
    }
}

TEST(LoggerTest, CutsFormattedMessagesAt511AndNoOthers) {
    const TempDir directory;
    CVeloLogger logger(directory.Path("log"));
    for (const std::size_t length : {510U, 511U, 512U, 600U}) {
        const std::string message(length, 'x');
        logger.Error("%s", message.c_str());
        *logger.Stream(Level::kError) << message;
        const auto lines = LogLines(directory.Path("log"));
        EXPECT_EQ(lines[lines.size() - 2], "ERROR " + message.substr(0, 511));
        EXPECT_EQ(lines.back(), "ERROR " + message);
    }
}

TEST(LoggerTest, CompletesALineOnceAndOnlyWhenAdmitted) {
    const TempDir directory;
    CVeloLogger logger(directory.Path("log"));
    {
        const auto line = logger.Stream(Level::kWarn);
        *line << "pkts=" << 120 << ",bytes=" << std::uint64_t{73450};
        EXPECT_EQ(directory.Read("log"), "") << "before the line is complete";
        line->Complete();
        *line << "too late";
        *logger.Stream(Level::kInfo) << "not admitted";
        const auto empty = logger.Stream(Level::kWarn);
    }
    EXPECT_EQ(LogLines(directory.Path("log")), (std::vector<std::string>{"WARN  pkts=120,bytes=73450", "WARN  "}));
}

TEST(LoggerTest, WithoutAStreamTakesEverythingAndWritesNothing) {
    CVeloLogger unopened;
    CVeloLogger unknownMode(static_cast<LoggerMode>(3));
    CVeloLogger badPath(std::string("/nonexistent/log"));
    EXPECT_EQ(unopened.GetLevel(), 8);
    EXPECT_EQ(unopened.FileName(), "");
    EXPECT_EQ(unknownMode.GetLevel(), 8);
    EXPECT_EQ(badPath.GetLevel(), 5);
    EXPECT_EQ(badPath.FileName(), "/nonexistent/log");
    for (CVeloLogger* const logger : {&unopened, &unknownMode, &badPath}) {
        const std::string name = logger->FileName();
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
        CVeloLogger logger(directory.Path("empty"));
        logger.Close();
        EXPECT_EQ(logger.FileName(), "closed");
        EXPECT_FALSE(std::filesystem::exists(directory.Path("empty")));
        EXPECT_EQ(logger.Write(Level::kEmerg, "after"), 0);

        EXPECT_TRUE(logger.Open(directory.Path("written")));
        EXPECT_EQ(logger.FileName(), directory.Path("written"));
        EXPECT_EQ(CallLogV(logger, Level::kDebug, "%s", "no threshold test"), 1);
        logger.Close();
        EXPECT_EQ(logger.FileName(), "closed");

        EXPECT_TRUE(logger.Open(directory.Path("kept")));
        EXPECT_FALSE(logger.Open("/nonexistent/log"));
        EXPECT_EQ(logger.FileName(), "/nonexistent/log");
        EXPECT_EQ(logger.Write(Level::kEmerg, "nowhere"), 0);

        EXPECT_TRUE(logger.Open(directory.Path("written")));
        logger.Emerg("appended");
        EXPECT_TRUE(logger.Open(directory.Path("kept too")));
    }
    EXPECT_EQ(LogLines(directory.Path("written")),
              (std::vector<std::string>{"DEBUG no threshold test", "EMERG appended"}));
    EXPECT_EQ(directory.Read("kept"), "");
    EXPECT_TRUE(std::filesystem::exists(directory.Path("kept")));
    EXPECT_TRUE(std::filesystem::exists(directory.Path("kept too")));
}

TEST(LoggerTest, ModesChooseTheStream) {
    std::string path;
    {
        CVeloLogger temporary(LoggerMode::TemporaryFile);
        path = temporary.FileName();
        EXPECT_TRUE(path.starts_with("/tmp/Velo.log.")) << path;
        EXPECT_EQ(path.size(), std::string("/tmp/Velo.log.XXXXXX").size());
        struct stat status {};
        ASSERT_EQ(stat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0600U);
        temporary.Debug("all levels");
    }
    EXPECT_EQ(LogLines(path), (std::vector<std::string>{"DEBUG all levels"}));
    unlink(path.c_str());

    CVeloLogger null(LoggerMode::NullDevice);
    EXPECT_EQ(null.FileName(), "/dev/null");
    EXPECT_EQ(null.Write(Level::kDebug, "text"), 1);
    null.Close();
    EXPECT_TRUE(std::filesystem::exists("/dev/null"));
}

TEST(LoggerTest, StandardErrorIsClosedByCloseAndNotByTheDestructor) {
    const TempDir directory;
    const pid_t child = fork();
    if (child == 0) {
        const int file = open(directory.Path("errors").c_str(), O_WRONLY | O_CREAT, 0600);
        dup2(file, STDERR_FILENO);
        { CVeloLogger(LoggerMode::StandardError).Debug("first"); }
        CVeloLogger second(LoggerMode::StandardError);
        const bool named = !second.FileName().empty();
        second.Debug("second");
        second.Close();
        const bool closed = fcntl(STDERR_FILENO, F_GETFD) == -1;
        _exit(closed && !named && second.FileName() == "closed" ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(LogLines(directory.Path("errors")), (std::vector<std::string>{"DEBUG first", "DEBUG second"}));
}

TEST(LoggerTest, LinesOfManyThreadsNeverMix) {
    constexpr int kThreads = 8;
    constexpr int kLinesEach = 200;
    const TempDir directory;
    CVeloLogger logger(directory.Path("log"));
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&logger, &directory, thread] {
            for (int line = 0; line < kLinesEach; ++line) {
                *logger.Stream(Level::kError) << thread << "/" << line << std::string(300, 'x');
                logger.Error("%d:%d%s", thread, line, std::string(300, 'y').c_str());
                if (thread == 0 && line % 50 == 0) {
                    logger.SetLevel(5 + line % 2);
                    logger.Open(directory.Path("log"));
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const auto lines = LogLines(directory.Path("log"));
    const std::set<std::string> seen(lines.begin(), lines.end());
    std::set<std::string> expected;
    for (int thread = 0; thread < kThreads; ++thread) {
        for (int line = 0; line < kLinesEach; ++line) {
            const std::string numbers[] = {std::to_string(thread), std::to_string(line)};
            expected.insert("ERROR " + numbers[0] + "/" + numbers[1] + std::string(300, 'x'));
            expected.insert("ERROR " + numbers[0] + ":" + numbers[1] + std::string(300, 'y'));
        }
    }
    // A line that met the short moment of reopening is lost as a whole; none may be damaged.
    EXPECT_TRUE(std::ranges::includes(expected, seen));
    EXPECT_GT(seen.size(), expected.size() / 2);
}

TEST(GlobalLoggerTest, IsReadyBeforeMainOnItsPrivateFile) {
    EXPECT_TRUE(GlobalLogger.FileName().starts_with("/tmp/Velo.log."));
    EXPECT_EQ(GlobalLogger.GetLevel(), 8);
    const LogTail tail;
    GlobalLogger.Debug("to the %s", "file");
    EXPECT_EQ(tail.Lines(), (std::vector<std::string>{"DEBUG to the file"}));
}

}  // namespace
}  // namespace VeloLogger
