#include "velora/iowrap/plain_stream.h"

#include <cerrno>

CIOWrap_Plain::~CIOWrap_Plain() {
    CIOWrap_Plain::Close();
}

bool CIOWrap_Plain::Open(const char* path, const char* mode) {
    m_pFile = fopen64(path, mode);
    if (m_pFile == nullptr) {
        m_Error = errno;
        return false;
    }
    return true;
}

bool CIOWrap_Plain::Read(void* buffer, std::uint32_t count) {
    if (m_pFile != nullptr && std::fread(buffer, count, 1, m_pFile) == 1) {
        return true;
    }
    m_Error = errno;
    return false;
}

void CIOWrap_Plain::Close() {
    if (m_pFile != nullptr) {
        std::fclose(m_pFile);
        m_pFile = nullptr;
    }
}

bool CIOWrap_Plain::IsEOF() const {
    return m_pFile != nullptr && std::feof(m_pFile) != 0;
}
