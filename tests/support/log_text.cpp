#include "tests/support/log_text.h"

#include <filesystem>
#include <fstream>

#include "logging/logger.h"

// The message of "<colour>Mon Nov 16 02:44:03 2026.000123 <tag> <message><reset>", with its tag.
static std::string WithoutTime(const std::string& line) {
    constexpr std::size_t kDateTime = 24;
    constexpr std::size_t kFraction = 8;  // ".000123 "
    const std::size_t begin = line.starts_with('\033') ? line.find('m') + 1 : 0;
    const std::size_t dot = begin + kDateTime;
    const std::size_t message = dot + kFraction;
    const bool isShaped = line.size() > message && line[dot] == '.' && line[message - 1] == ' ' &&
                          line.find_first_not_of("0123456789", dot + 1) == message - 1;
    const bool isWhole = begin == 0 || line.ends_with("\033[m");
    if (!isShaped || !isWhole) {
        return line;
    }
    return line.substr(message, line.size() - message - (begin == 0 ? 0 : 3));
}

std::vector<std::string> LogLines(const std::string& path, std::size_t offset) {
    std::ifstream file(path, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(offset));
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(WithoutTime(line));
    }
    return lines;
}

LogTail::LogTail() : m_Path(VeloLogger::GlobalLogger.FileName()), m_Offset(std::filesystem::file_size(m_Path)) {}

std::vector<std::string> LogTail::Lines() const {
    return LogLines(m_Path, m_Offset);
}
