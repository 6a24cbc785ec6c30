#include "tests/support/log_text.h"

#include <cstdio>
#include <filesystem>
#include <fstream>

#include "velora/logging/logger.h"

// The tag and message of "<colour>Mon Nov 16 02:44:03 2026.000123 <tag> <message><reset>", with both colour and reset
// or with neither.
static std::string WithoutTime(const std::string& line) {
    const std::size_t begin = line.starts_with('\033') ? line.find('m') + 1 : 0;
    const std::size_t reset = begin == 0 ? 0 : 3;
    int timeLength = 0;
    std::sscanf(line.c_str() + begin, "%*24c.%*6[0-9] %n", &timeLength);
    const bool isWhole = timeLength == 32 && (reset == 0 || line.ends_with("\033[m"));
    return isWhole ? line.substr(begin + 32, line.size() - begin - 32 - reset) : line;
}

Lines LogLines(const std::string& path, std::size_t offset) {
    std::ifstream file(path, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(offset));
    Lines lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(WithoutTime(line));
    }
    return lines;
}

LogTail::LogTail() : m_Path(VeloLogger::GlobalLogger.FileName()), m_Offset(std::filesystem::file_size(m_Path)) {}

Lines LogTail::Lines() const {
    return LogLines(m_Path, m_Offset);
}
