// LogLine: one log message that is put together with <<, and written when complete.
//
//     *GlobalLogger.Stream(Level::kError) << "Cant Open dump file " << path;
//
// The line is complete, and written, when the owner destroys it or calls Complete. Nothing is
// formatted for a level that the logger does not admit. One thread builds one line; lines of
// different threads may be completed at once.

#pragma once

#include <memory>
#include <sstream>

#include "velora/utils/api.h"

namespace VeloLogger {

class CVeloLogger;

class VELORA_API LogLine {
 public:
    // `logger` is where the line goes, and must outlive it; null makes a line that is never
    // written.
    LogLine(CVeloLogger* logger, int level);
    ~LogLine();

    LogLine(const LogLine&) = delete;
    LogLine& operator=(const LogLine&) = delete;

    // Whether what is inserted will be written.
    [[nodiscard]] bool IsEnabled() const { return m_pLogger != nullptr; }

    // Adds what a standard stream makes of `value`; nothing when the line is not enabled.
    template <typename Value>
    LogLine& operator<<(const Value& value) {
        if (IsEnabled()) {
            Text() << value;
        }
        return *this;
    }

    // Writes the text gathered so far as one line, an empty message when there is none, and
    // disables the line: later insertions and calls do nothing. A failure in here ends the process.
    void Complete() noexcept;

 private:
    std::ostringstream& Text();

    std::unique_ptr<std::ostringstream> m_pText;  // made by the first insertion
    CVeloLogger* m_pLogger;
    int m_Level;
};

}  // namespace VeloLogger
