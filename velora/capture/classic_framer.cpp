#include "velora/capture/classic_framer.h"

#include <cstring>
#include <utility>

#include "velora/formats/classic_format.h"
#include "velora/formats/link_types.h"
#include "velora/utils/nanoseconds.h"

namespace velora::capture {
namespace {

using namespace formats::classic;
using utils::kNanosecondsPerSecond;

constexpr std::size_t kModifiedHeaderSize = 24;

}  // namespace

bool ClassicFramer::IsMagic(std::uint32_t magic) {
    for (const std::uint32_t known : {kMagic, kMagicNanoseconds, kMagicModified}) {
        if (magic == known || magic == Swapped(known)) {
            return true;
        }
    }
    return false;
}

void ClassicFramer::ReadFileHeader(const std::uint8_t* bytes) {
    FileHeader header;
    std::memcpy(&header, bytes, sizeof header);
    m_IsSwapped = (header.magic & 0xFFU) == 0xA1;  // the first byte of each magic number
    if (m_IsSwapped) {
        header = Swapped(header);
    }
    m_Traits.format = Format::kClassicMicroseconds;
    if (header.magic == kMagicNanoseconds) {
        m_Traits.format = Format::kClassicNanoseconds;
        m_NanosecondsPerUnit = 1;
    } else if (header.magic == kMagicModified) {
        m_Traits.format = Format::kClassicModified;
        m_HeaderSize = kModifiedHeaderSize;
    }
    if (header.versionMajor == 2 && header.versionMinor < 3) {
        m_Lengths = Lengths::kOriginalFirst;
    } else if (header.versionMajor == 2 && header.versionMinor == 3) {
        m_Lengths = Lengths::kSmallerIsCaptured;
    }
    m_Interface.snapLen = header.snapLen;
    m_Interface.linkType =
        formats::link_type::Canonical(header.linkType & formats::link_type::kTypeMask);
    m_Interface.fcsLength = formats::link_type::FcsLengthOf(header.linkType);
    m_Interface.isFinerThanMicroseconds = m_NanosecondsPerUnit == 1;
    m_LargestLength = LargestLength(m_Interface.snapLen, m_Interface.linkType);
    m_Traits.linkType = m_Interface.linkType;
    m_Traits.fcsBits = header.linkType & formats::link_type::kFcsMask;
    m_Traits.tellsFcsLength = m_Interface.fcsLength.has_value();
    m_Traits.snapLen = m_Interface.snapLen;
    m_Traits.isFinerThanMicroseconds = m_Interface.isFinerThanMicroseconds;
    m_IsCapture = true;
}

Framer::Result ClassicFramer::Frame(RecordBlock& block, const Bytes& bytes) {
    const std::uint8_t* const start = block.Room().data();
    std::size_t position = 0;
    BeginBlock(bytes);
    if (!m_IsCapture) {
        if (bytes.count < sizeof(FileHeader)) {
            return {0, sizeof(FileHeader), {}};
        }
        ReadFileHeader(start);
        block.described.push_back({m_Interface});
        position = sizeof(FileHeader);
    }
    if (!block.HasInterface()) {
        block.AddInterface(m_Interface);
    }
    while (bytes.count - position >= m_HeaderSize) {
        RecordHeader header;
        std::memcpy(&header, start + position, sizeof header);
        if (m_IsSwapped) {
            header = Swapped(header);
        }
        std::uint32_t captured = header.inclLen;
        std::uint32_t original = header.origLen;
        if (m_Lengths == Lengths::kOriginalFirst ||
            (m_Lengths == Lengths::kSmallerIsCaptured && captured > original)) {
            std::swap(captured, original);
        }
        if (captured > m_LargestLength) {
            return {position, 0, TooLong(captured, m_LargestLength)};
        }
        const std::size_t size = m_HeaderSize + captured;
        if (bytes.count - position < size) {
            return {position, size, {}};
        }
        // Unsigned on disk: seconds reach to 2106, and a fraction may be more than a second.
        const std::int64_t time =
            static_cast<std::int64_t>(static_cast<std::uint32_t>(header.tsSec)) *
                kNanosecondsPerSecond +
            static_cast<std::int64_t>(static_cast<std::uint32_t>(header.tsUsec)) *
                m_NanosecondsPerUnit;
        CountRecord(block, bytes, position + size, time);
        block.AddClassic(position, m_HeaderSize, time, captured, original);
        m_Traits.hasRecord = true;
        position += size;
    }
    return {position, m_HeaderSize, {}};
}

const char* ClassicFramer::InsideWhat() const {
    return m_IsCapture ? "inside a record" : "inside the file header";
}

}  // namespace velora::capture
