#include "velora/codec/gzip_header.h"

#include <iterator>

#include <isa-l/crc.h>

namespace velora::codec {
namespace {

constexpr std::uint8_t kFixedPart[] = {0x1F, 0x8B, 8};  // the last is the method: deflate
constexpr std::size_t kFlagsIndex = 3;
constexpr std::size_t kFixedSize = 10;

constexpr std::uint8_t kHasChecksum = 0x02;
constexpr std::uint8_t kHasExtra = 0x04;
constexpr std::uint8_t kHasName = 0x08;
constexpr std::uint8_t kHasComment = 0x10;
constexpr std::uint8_t kReserved = 0xE0;

}  // namespace

std::size_t GzipHeader::Take(std::span<const std::uint8_t> in) {
    std::size_t taken = 0;
    while (taken < in.size() && !IsWhole() && m_Reason == nullptr) {
        if (m_Part != Part::kChecksum) {
            m_Sum = crc32_gzip_refl(m_Sum, &in[taken], 1);
        }
        TakeByte(in[taken++]);
    }
    return taken;
}

void GzipHeader::TakeByte(std::uint8_t byte) {
    const std::size_t index = m_Index++;
    bool isPartWhole = false;
    switch (m_Part) {
        case Part::kFixed:
            if (index < std::size(kFixedPart) && byte != kFixedPart[index]) {
                m_Reason = index < 2 ? "no gzip member" : "unknown method";
            } else if (index == kFlagsIndex) {
                m_Flags = byte;
                m_Reason = (byte & kReserved) != 0 ? "reserved flags are set" : nullptr;
            }
            isPartWhole = m_Index == kFixedSize;
            break;
        case Part::kExtraLength:
            m_ExtraLength |= std::size_t{byte} << (8 * index);
            isPartWhole = m_Index == 2;
            break;
        case Part::kExtra:
            isPartWhole = m_Index == m_ExtraLength;
            break;
        case Part::kName:
        case Part::kComment:
            isPartWhole = byte == 0;
            break;
        case Part::kChecksum:
            if (byte != ((m_Sum >> (8 * index)) & 0xFFU)) {
                m_Reason = "wrong checksum";
            }
            isPartWhole = m_Index == 2;
            break;
        case Part::kNone:
            break;
    }
    if (isPartWhole && m_Reason == nullptr) {
        GoOn();
    }
}

// The parts stand in this order, each if its flag is set.
void GzipHeader::GoOn() {
    m_Index = 0;
    if (m_Part == Part::kFixed && (m_Flags & kHasExtra) != 0) {
        m_Part = Part::kExtraLength;
    } else if (m_Part == Part::kExtraLength && m_ExtraLength > 0) {
        m_Part = Part::kExtra;
    } else if (m_Part < Part::kName && (m_Flags & kHasName) != 0) {
        m_Part = Part::kName;
    } else if (m_Part < Part::kComment && (m_Flags & kHasComment) != 0) {
        m_Part = Part::kComment;
    } else if (m_Part < Part::kChecksum && (m_Flags & kHasChecksum) != 0) {
        m_Part = Part::kChecksum;
    } else {
        m_Part = Part::kNone;
    }
}

}  // namespace velora::codec
