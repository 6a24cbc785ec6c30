#include "iowrap/gzip_stream.h"

namespace {

constexpr unsigned kBufferBytes = 65536;  // of compressed data; zlib's own is 8 KiB

}  // namespace

CIOWrap_GZip::~CIOWrap_GZip() {
    CIOWrap_GZip::Close();
}

bool CIOWrap_GZip::Open(const char* path, const char* mode) {
    m_File = gzopen64(path, mode);
    if (m_File == nullptr) {
        return false;
    }
    gzbuffer(m_File, kBufferBytes);
    return true;
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
