// CIOWrap_Plain: an uncompressed file through stdio.

#pragma once

#include <cstdio>

#include "velora/iowrap/io_wrap.h"
#include "velora/utils/api.h"

class VELORA_API CIOWrap_Plain : public CIOWrap {
 public:
    CIOWrap_Plain() = default;
    ~CIOWrap_Plain() override;
    CIOWrap_Plain(const CIOWrap_Plain&) = delete;
    CIOWrap_Plain& operator=(const CIOWrap_Plain&) = delete;

    // On failure GetError() is the errno of the open.
    bool Open(const char* path, const char* mode) override;

    // One fread of one item of `count` bytes; on failure GetError() is errno as it then stands. A
    // request for 0 bytes fails without being the end of the input, unlike in the compressed
    // variants: stdio reports no item read. So a plain capture ends, with an error, at a record
    // without captured bytes.
    [[nodiscard]] bool Read(void* buffer, std::uint32_t count) override;

    void Close() override;
    [[nodiscard]] bool IsEOF() const override;

 private:
    std::FILE* m_pFile = nullptr;
};
