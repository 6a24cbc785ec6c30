#include "velora/iowrap/bzip2_stream.h"

CIOWrap_BZip2::~CIOWrap_BZip2() {
    CIOWrap_BZip2::Close();
}

bool CIOWrap_BZip2::Open(const char* path, const char* mode) {
    m_pFile = fopen64(path, mode);
    if (m_pFile == nullptr) {
        return false;
    }
    int bzError = BZ_OK;
    m_pBzFile = BZ2_bzReadOpen(&bzError, m_pFile, 0, 0, nullptr, 0);
    return bzError == BZ_OK;
}

bool CIOWrap_BZip2::Read(void* buffer, std::uint32_t count) {
    int bzError = BZ_OK;
    // A count of 2 GiB or more is negative here, and refused; so is a handle that is not there.
    BZ2_bzRead(&bzError, m_pBzFile, buffer, static_cast<int>(count));
    if (bzError == BZ_OK) {
        return true;
    }
    if (bzError == BZ_STREAM_END) {
        m_EOF = true;
    } else {
        m_Error = bzError;
    }
    return false;
}

void CIOWrap_BZip2::Close() {
    if (m_pBzFile != nullptr) {
        int bzError = BZ_OK;
        BZ2_bzReadClose(&bzError, m_pBzFile);
        std::fclose(m_pFile);
    }
    // libbz2 refuses to open only for want of memory; the stdio stream is then given up unclosed.
    m_pBzFile = nullptr;
    m_pFile = nullptr;
}
