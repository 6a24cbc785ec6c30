#include "velora/logging/logger.h"

#include <array>
#include <cstdlib>
#include <ctime>

#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

namespace VeloLogger {
namespace {

constexpr int kPathThreshold = 5;
constexpr const char* kReset = "\033[m";

struct LevelStyle {
    const char* tag;  // five characters, so that the messages stand in one column
    const char* colour;
};

constexpr std::array<LevelStyle, 11> kStyles{{
    {"EMERG", "\033[1;31m"},  // bold red
    {"FATAL", "\033[1;31m"},
    {"ALERT", "\033[31m"},  // red
    {"CRIT ", "\033[31m"},
    {"ERROR", "\033[31m"},
    {"WARN ", "\033[35m"},  // magenta
    {"NOTIC", "\033[34m"},  // blue
    {"INFO ", "\033[34m"},
    {"DEBUG", "\033[32m"},  // green
    {"NOTSE", "\033[32m"},
    {"ILLEG", ""},
}};

const LevelStyle& StyleOf(int level) {
    const bool isKnown = level >= 0 && level < static_cast<int>(kStyles.size());
    return kStyles[static_cast<std::size_t>(isKnown ? level : Level::kIllegal)];
}

}  // namespace

CVeloLogger::CVeloLogger() : threshold(Level::kDebug) {}

CVeloLogger::CVeloLogger(LoggerMode mode) : threshold(Level::kDebug) {
    switch (mode) {
        case LoggerMode::TemporaryFile: {
            std::string path = "/tmp/Velo.log.XXXXXX";
            const int descriptor = mkstemp(path.data());
            // Descriptor 0 stays open: a later file must not become the standard input.
            if (descriptor > 0) {
                close(descriptor);
                Open(path);
            }
            break;
        }
        case LoggerMode::NullDevice:
            Open("/dev/null");
            break;
        case LoggerMode::StandardError:
            stream = stderr;
            break;
    }
}

CVeloLogger::CVeloLogger(const std::string& path) : threshold(kPathThreshold) {
    Open(path);
}

CVeloLogger::~CVeloLogger() {
    if (stream != stderr) {
        CloseStream("(closed)");
    }
}

bool CVeloLogger::Open(const std::string& path) {
    const std::lock_guard lock(mutex);
    CloseStream("(closed)");
    // Not null in between: a line that another thread has at hand waits for the new stream.
    stream = std::fopen(path.c_str(), "a");
    fileName = path;
    return stream != nullptr;
}

void CVeloLogger::Close() {
    const std::lock_guard lock(mutex);
    if (stream == nullptr) {
        return;
    }
    const std::string path = fileName;
    CloseStream("closed");
    stream = nullptr;
    struct stat status {};
    if (stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && status.st_size == 0) {
        unlink(path.c_str());
    }
}

std::string CVeloLogger::FileName() const {
    const std::lock_guard lock(mutex);
    return fileName;
}

void CVeloLogger::CloseStream(const char* marker) {
    if (stream != nullptr) {
        std::fclose(stream);
        fileName = marker;
    }
}

int CVeloLogger::Write(int level, const std::string& text) {
    return WriteLine(level, text.c_str());
}

int CVeloLogger::LogV(int level, const char* format, std::va_list arguments) {
    if (stream == nullptr) {
        return 0;
    }
    std::array<char, 512> message{};
    std::vsnprintf(message.data(), message.size(), format, arguments);
    return WriteLine(level, message.data());
}

int CVeloLogger::WriteLine(int level, const char* message) {
    if (stream == nullptr) {
        return 0;
    }
    timeval now{};
    gettimeofday(&now, nullptr);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    std::array<char, 128> dateTime{};
    if (std::strftime(dateTime.data(), dateTime.size(), "%c", &local) == 0) {
        dateTime[0] = '\0';  // longer than the buffer, whose content is then undefined
    }
    const LevelStyle& style = StyleOf(level);
    const char* const reset = style.colour[0] != '\0' ? kReset : "";

    const std::lock_guard lock(mutex);
    std::FILE* const destination = stream;
    if (destination == nullptr) {
        return 0;  // closed by another thread since the test above
    }
    std::fprintf(destination, "%s%s.%06d %s %s%s\n", style.colour, dateTime.data(),
                 static_cast<int>(now.tv_usec), style.tag, message, reset);
    std::fflush(destination);
    return 1;
}

std::unique_ptr<LogLine> CVeloLogger::Stream(int level) {
    return std::make_unique<LogLine>(threshold >= level ? this : nullptr, level);
}

// A C-style variadic function cannot pass its arguments on but as a va_list, so each of the nine
// needs the same body.
#define VELORA_LEVEL_OPERATION(Operation, level)           \
    void CVeloLogger::Operation(const char* format, ...) { \
        if (threshold >= (level)) {                        \
            std::va_list arguments;                        \
            va_start(arguments, format);                   \
            LogV(level, format, arguments);                \
            va_end(arguments);                             \
        }                                                  \
    }

VELORA_LEVEL_OPERATION(Emerg, Level::kEmerg)
VELORA_LEVEL_OPERATION(Fatal, Level::kFatal)
VELORA_LEVEL_OPERATION(Alert, Level::kAlert)
VELORA_LEVEL_OPERATION(Crit, Level::kCrit)
VELORA_LEVEL_OPERATION(Error, Level::kError)
VELORA_LEVEL_OPERATION(Warn, Level::kWarn)
VELORA_LEVEL_OPERATION(Notice, Level::kNotice)
VELORA_LEVEL_OPERATION(Info, Level::kInfo)
VELORA_LEVEL_OPERATION(Debug, Level::kDebug)

#undef VELORA_LEVEL_OPERATION

}  // namespace VeloLogger
