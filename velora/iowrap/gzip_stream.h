// CIOWrap_GZip: a gzip file (RFC 1952) through zlib. A file that is not compressed is read as it
// is.

#pragma once

#include <zlib.h>

#include "velora/iowrap/io_wrap.h"
#include "velora/utils/api.h"

class VELORA_API CIOWrap_GZip : public CIOWrap {
 public:
    CIOWrap_GZip() = default;
    ~CIOWrap_GZip() override;
    CIOWrap_GZip(const CIOWrap_GZip&) = delete;
    CIOWrap_GZip& operator=(const CIOWrap_GZip&) = delete;

    // A failure leaves GetError() as it was: this variant never records a number.
    bool Open(const char* path, const char* mode) override;

    // A short read is the end of the input, so a file that was cut ends like a whole one. What zlib
    // refuses (damaged data, a request of 2 GiB or more) is an error without a number.
    [[nodiscard]] bool Read(void* buffer, std::uint32_t count) override;

    void Close() override;

    // Set by Read, and reset by neither Close nor Open.
    [[nodiscard]] bool IsEOF() const override { return m_EOF; }

 private:
    gzFile m_File = nullptr;
    bool m_EOF = false;
};
