#include "velora/iowrap/gzip_stream.h"

CIOWrap_GZip::~CIOWrap_GZip() {
    CIOWrap_GZip::Close();
}

bool CIOWrap_GZip::Open(const char* path, const char* mode) {
    // zlib's own buffer stays: whatever was inflated into it together with damaged data is lost, so
    // a larger one would cost more of the records before the damage, and would gain three per cent.
    m_File = gzopen64(path, mode);
    return m_File != nullptr;
}

bool CIOWrap_GZip::Read(void* buffer, std::uint32_t count) {
    const int delivered = gzread(m_File, buffer, count);  // -1 also when no file is open
    if (delivered == -1) {
        m_EOF = false;
        return false;
    }
    if (static_cast<std::uint32_t>(delivered) < count) {
        m_EOF = true;
        return false;
    }
    return true;
}

void CIOWrap_GZip::Close() {
    if (m_File != nullptr) {
        gzclose(m_File);
        m_File = nullptr;
    }
}
