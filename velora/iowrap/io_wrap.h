// CIOWrap: the input byte stream below the capture reader.
//
// A variant hides how a capture file is stored: CIOWrap_Plain, CIOWrap_GZip, CIOWrap_BZip2, and
// CIOWrap_PcapNG, which delivers decoded pcap-ng packets in the classic form. Each read is
// all-or-nothing for an exact number of bytes: the reader asks for a header, then for the payload
// that the header claims.
//
// Order of calls: Open, then any number of Prefetch, Read, IsEOF and GetError, then Close; a closed
// stream may be opened again, which is how the reader rewinds. No operation logs or throws. A
// stream owns its handles, closes them when destroyed, is never copied, and is used by one thread.

#pragma once

#include <cstdint>
#include <string>

class CIOWrap {
 public:
    CIOWrap() = default;
    virtual ~CIOWrap() = default;  // each variant closes itself
    CIOWrap(const CIOWrap&) = delete;
    CIOWrap& operator=(const CIOWrap&) = delete;

    // Opens `path` for reading; `mode` is stdio's ("rb"). True when the file is ready to be read.
    virtual bool Open(const char* path, const char* mode) = 0;

    // Reads exactly `count` bytes into `buffer`. On false the content of the buffer is undefined;
    // IsEOF tells whether the end of the input was the reason.
    [[nodiscard]] virtual bool Read(void* buffer, std::uint32_t count) = 0;

    // Releases the handles. Does nothing when none is held.
    virtual void Close() = 0;

    // Whether a failed Read was caused by the end of the input.
    [[nodiscard]] virtual bool IsEOF() const = 0;

    // Makes the next record ready to be read, where the variant works by records. The result may be
    // ignored: the reads that follow tell the same.
    virtual std::int32_t Prefetch() { return 0; }

    // The number of the last error that the variant has recorded, 0 when none: an errno, or for
    // bzip2 a (negative) libbz2 code.
    [[nodiscard]] virtual std::int32_t GetError() const { return m_Error; }

 protected:
    std::int32_t m_Error = 0;  // what GetError tells
    std::string m_ErrorText;   // the pcap-ng variant's own words for m_Error
};
