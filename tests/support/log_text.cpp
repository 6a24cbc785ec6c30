#include "tests/support/log_text.h"

#include <filesystem>
#include <fstream>
#include <regex>

#include "logging/logger.h"

Lines LogLines(const std::string& path, std::size_t offset) {
    // "<colour>Mon Nov 16 02:44:03 2026.000123 <tag> <message><reset>", the colour and the reset both or neither
    static const std::regex kColoured("\033\\[[0-9;]+m.{24}\\.[0-9]{6} (.*)\033\\[m");
    static const std::regex kPlain("[A-Z].{23}\\.[0-9]{6} (.*)");
    std::ifstream file(path, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(offset));
    Lines lines;
    std::smatch match;
    for (std::string line; std::getline(file, line);) {
        const bool isShaped = std::regex_match(line, match, kColoured) || std::regex_match(line, match, kPlain);
        lines.push_back(isShaped ? match.str(1) : line);
    }
    return lines;
}

LogTail::LogTail() : m_Path(VeloLogger::GlobalLogger.FileName()), m_Offset(std::filesystem::file_size(m_Path)) {}

Lines LogTail::Lines() const {
    return LogLines(m_Path, m_Offset);
}
