// GzipHeader: what stands in front of a gzip member's deflate data (RFC 1952), arriving in any
// pieces. Nothing of it is kept; it is checked, and its length found.

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace velora::codec {

class GzipHeader {
 public:
    // Takes bytes of the header, not beyond its end; gives their number. All of `in` is taken
    // unless the header is over or bad.
    std::size_t Take(std::span<const std::uint8_t> in);

    // All of it has been taken.
    [[nodiscard]] bool IsWhole() const { return m_Part == Part::kNone; }
    // What is wrong with it; null as long as nothing is.
    [[nodiscard]] const char* Reason() const { return m_Reason; }

 private:
    enum class Part : std::uint8_t {
        kFixed,
        kExtraLength,
        kExtra,
        kName,
        kComment,
        kChecksum,
        kNone
    };

    void TakeByte(std::uint8_t byte);
    void GoOn();

    Part m_Part = Part::kFixed;
    std::uint8_t m_Flags = 0;
    std::size_t m_Index = 0;        // of the next byte in its part
    std::size_t m_ExtraLength = 0;  // once its two bytes are there
    std::uint32_t m_Sum = 0;        // CRC-32 of what stands in front of the header's own checksum
    const char* m_Reason = nullptr;
};

}  // namespace velora::codec
