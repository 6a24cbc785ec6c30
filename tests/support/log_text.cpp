#include "tests/support/log_text.h"

#include <filesystem>
#include <regex>
#include <sstream>

#include "logging/logger.h"
#include "tests/support/temp_dir.h"

std::vector<std::string> LogLines(const std::string& path, std::size_t offset) {
    static const std::regex kShape(
        "(?:\033\\[[0-9;]*m)?[A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2} "
        "[0-9]{4}\\.[0-9]{6} ((?:[A-Z]{5}|[A-Z]{4} ) [^\033]*)(?:\033\\[m)?");
    std::istringstream text(TempDir::ReadPath(path).substr(offset));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
        std::smatch match;
        lines.push_back(std::regex_match(line, match, kShape) ? match[1].str() : line);
    }
    return lines;
}

LogTail::LogTail()
    : m_Path(VeloLogger::GlobalLogger.FileName()), m_Offset(std::filesystem::file_size(m_Path)) {}

std::vector<std::string> LogTail::Lines() const {
    return LogLines(m_Path, m_Offset);
}
