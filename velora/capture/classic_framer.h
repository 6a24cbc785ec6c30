// The records of a classic capture: microseconds, nanoseconds or the modified form, of either byte
// order (velora/formats/classic_format.h says where the format is described).

#pragma once

#include "velora/capture/framer.h"

namespace velora::capture {

class ClassicFramer final : public Framer {
 public:
    // Whether a file that begins so is one. `magic` is its first four bytes as this machine reads
    // them.
    [[nodiscard]] static bool IsMagic(std::uint32_t magic);

    [[nodiscard]] Result Frame(RecordBlock& block, const Bytes& bytes) override;
    [[nodiscard]] const char* InsideWhat() const override;

 private:
    // How the two lengths of a record stand. Early versions wrote them the other way round.
    enum class Lengths : std::uint8_t { kCapturedFirst, kOriginalFirst, kSmallerIsCaptured };

    void ReadFileHeader(const std::uint8_t* bytes);

    bool m_IsSwapped = false;
    std::size_t m_HeaderSize = 16;
    std::int64_t m_NanosecondsPerUnit = 1000;
    Interface m_Interface;
    std::uint32_t m_LargestLength = 0;
    Lengths m_Lengths = Lengths::kCapturedFirst;
};

}  // namespace velora::capture
