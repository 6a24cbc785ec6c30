#include "velora/logging/log_line.h"

#include "velora/logging/logger.h"

namespace VeloLogger {

LogLine::LogLine(CVeloLogger* logger, int level) : m_pLogger(logger), m_Level(level) {}

LogLine::~LogLine() {
    Complete();
}

void LogLine::Complete() noexcept {
    if (IsEnabled()) {
        m_pLogger->Write(m_Level, m_pText ? m_pText->str() : std::string());
        m_pText.reset();
        m_pLogger = nullptr;
    }
}

std::ostringstream& LogLine::Text() {
    if (!m_pText) {
        m_pText = std::make_unique<std::ostringstream>();
    }
    return *m_pText;
}

}  // namespace VeloLogger
