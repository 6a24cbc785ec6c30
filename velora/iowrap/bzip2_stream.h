// CIOWrap_BZip2: a bzip2 file through libbz2. Only the first stream of the file is read: what was
// appended as a further stream is not.

#pragma once

#include <cstdio>

#include <bzlib.h>

#include "velora/iowrap/io_wrap.h"
#include "velora/utils/api.h"

class VELORA_API CIOWrap_BZip2 : public CIOWrap {
 public:
    CIOWrap_BZip2() = default;
    ~CIOWrap_BZip2() override;
    CIOWrap_BZip2(const CIOWrap_BZip2&) = delete;
    CIOWrap_BZip2& operator=(const CIOWrap_BZip2&) = delete;

    // A file that cannot be opened leaves GetError() as it was.
    bool Open(const char* path, const char* mode) override;

    // Decides by libbz2's code alone. When the stream ends with the last bytes asked for, the read
    // fails as end of the input although they were all delivered: so the last record of a bzip2
    // capture is not seen. Any other code than success is an error, and GetError() is the code.
    [[nodiscard]] bool Read(void* buffer, std::uint32_t count) override;

    void Close() override;

    // Set by Read, and reset by neither Close nor Open.
    [[nodiscard]] bool IsEOF() const override { return m_EOF; }

 private:
    std::FILE* m_pFile = nullptr;
    BZFILE* m_pBzFile = nullptr;
    bool m_EOF = false;
};
