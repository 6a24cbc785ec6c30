#include "velora/capture/pcapng_framer.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

#include <xxhash.h>

#include "velora/formats/link_types.h"
#include "velora/formats/pcapng_format.h"
#include "velora/utils/hash_seed.h"

namespace velora::capture {
namespace {

using namespace formats::pcapng;

constexpr std::size_t kBlockStart = 8;      // type and length
constexpr std::size_t kSectionStart = 12;   // and the byte-order magic
constexpr std::size_t kTrailer = 4;         // the second length
constexpr std::size_t kOptionStart = 4;     // code and length of an option
constexpr std::size_t kLinkTypeOffset = 8;  // of an interface description
constexpr std::size_t kSnapLenOffset = 12;
// Blocks that are looked at are held whole, options included.
constexpr std::uint32_t kLargestHeldBlock = 256U << 20U;

constexpr std::size_t Padded(std::size_t size) {
    return (size + 3) & ~std::size_t{3};
}

// Which blocks are looked at, and the least size of each; 0 for all others.
std::size_t LeastSize(std::uint32_t type) {
    switch (type) {
        case kSectionHeader:
            return kSectionHeaderSize;
        case kInterfaceDescription:
            return kInterfaceDescriptionSize;
        case kEnhancedPacket:
        case kObsoletePacket:
            return kPacketSize;
        case kSimplePacket:
            return kSimplePacketSize;
        default:
            return 0;
    }
}

bool IsPacket(std::uint32_t type) {
    return type == kEnhancedPacket || type == kObsoletePacket;
}

}  // namespace

Framer::Result PcapNgFramer::Frame(RecordBlock& block, const Bytes& bytes) {
    std::size_t position = 0;
    Result result;
    BeginBlock(bytes);
    m_Interfaces.BeginBlock();
    for (;;) {
        if (IsFullBeside(block)) {
            return {position, kBlockStart, {}, true};
        }
        if (IsInside() && !Skip(block, bytes, position, result)) {
            return result;
        }
        BlockAt at{block.Room().data() + position, position, 0, 0, bytes.count - position};
        if (at.there < kBlockStart) {
            return {position, kBlockStart, {}};
        }
        at.type = Get<std::uint32_t>(at.start);
        if (at.type == kSectionHeader) {
            // Its own byte order holds from its length on.
            if (at.there < kSectionStart) {
                return {position, kSectionStart, {}};
            }
            m_IsSwapped = false;
            const auto magic = Get<std::uint32_t>(at.start + kBlockStart);
            m_IsSwapped = magic == formats::Swapped(kByteOrderMagic);
            if (!m_IsSwapped && magic != kByteOrderMagic) {
                return {position, 0, "a section header tells no byte order"};
            }
        }
        at.length = Get<std::uint32_t>(at.start + 4);
        if (std::string fault = FaultOfStart(at); !fault.empty()) {
            return {position, 0, std::move(fault)};
        }
        if (LeastSize(at.type) == 0) {
            (at.type == kNameResolution      ? block.extras.nameBlocks
             : at.type == kDecryptionSecrets ? block.extras.secretBlocks
                                             : block.extras.otherBlocks) += 1;
            m_SkippedSince = bytes.offset + position;
            m_SkippedLength = at.length;
            m_ToSkip = at.length - kTrailer;
            continue;
        }
        if (at.there < at.length) {
            return {position, at.length, {}};
        }
        std::string fault = FaultOfTrailer(at);
        if (fault.empty()) {
            fault = at.type == kSectionHeader          ? ReadSectionHeader(at, block)
                    : at.type == kInterfaceDescription ? ReadInterface(at, block)
                    : at.type == kSimplePacket         ? ReadSimplePacket(at, block, bytes)
                                                       : ReadPacket(at, block, bytes);
        }
        if (!fault.empty()) {
            return {position, 0, std::move(fault)};
        }
        position += at.length;
    }
}

bool PcapNgFramer::Skip(RecordBlock& block, const Bytes& bytes, std::size_t& position,
                        Result& result) {
    const std::size_t now =
        static_cast<std::size_t>(std::min<std::uint64_t>(m_ToSkip, bytes.count - position));
    position += now;
    m_ToSkip -= now;
    result = {position, kTrailer, {}};
    if (m_ToSkip > 0 || bytes.count - position < kTrailer) {
        return false;
    }
    if (Get<std::uint32_t>(block.Room().data() + position) != m_SkippedLength) {
        result.fault = "the two lengths of a block differ";
        return false;
    }
    position += kTrailer;
    m_SkippedLength = 0;
    return true;
}

std::string PcapNgFramer::FaultOfStart(const BlockAt& at) const {
    if (at.length % 4 != 0) {
        return "a block's length, " + std::to_string(at.length) + ", is no multiple of four";
    }
    const std::size_t least = LeastSize(at.type);
    if (at.length < std::max(least, kSmallestBlock)) {
        return "a block's length, " + std::to_string(at.length) + ", is too small";
    }
    if (least > 0 && at.length > kLargestHeldBlock) {
        return "a block claims " + std::to_string(at.length) + " bytes";
    }
    if (IsPacket(at.type) && at.there >= kPacketDataOffset) {
        const std::uint32_t interface = at.type == kEnhancedPacket
                                            ? Get<std::uint32_t>(at.start + 8)
                                            : Get<std::uint16_t>(at.start + 8);
        if (interface >= m_Interfaces.Count()) {
            return "a packet of interface " + std::to_string(interface) +
                   ", which was never described";
        }
        const InterfaceDescription& from = m_Interfaces.At(interface);
        const std::uint32_t largest = LargestLength(from.snapLen, from.linkType);
        const auto captured = Get<std::uint32_t>(at.start + 20);
        if (captured > largest) {
            return TooLong(captured, largest);
        }
        if (kPacketSize + Padded(captured) > at.length) {
            return "a packet's captured bytes do not fit into its block";
        }
    }
    if (at.type == kSimplePacket && m_Interfaces.Count() == 0) {
        return "a packet of interface 0, which was never described";
    }
    return {};
}

std::string PcapNgFramer::FaultOfTrailer(const BlockAt& at) const {
    return Get<std::uint32_t>(at.start + at.length - kTrailer) == at.length
               ? std::string()
               : "the two lengths of a block differ";
}

std::string PcapNgFramer::ReadSectionHeader(const BlockAt& at, RecordBlock& block) {
    const auto version = Get<std::uint16_t>(at.start + kSectionStart);
    if (version != kVersionMajor) {
        return "a section of version " + std::to_string(version) + ", which is not known";
    }
    CountOptions(OptionsOf(at, kSectionHeaderSize - kTrailer), block.extras);
    m_Interfaces.BeginSection();
    m_Traits.format = Format::kPcapNg;
    m_IsCapture = true;
    return {};
}

std::string PcapNgFramer::ReadInterface(const BlockAt& at, RecordBlock& block) {
    if (m_Interfaces.Count() == PcapNgInterfaces::kMost) {
        return "more than 65536 interfaces in a section";
    }
    InterfaceDescription description;
    description.resolution = kDefaultTimestampResolution;
    std::string_view name;
    auto options = OptionsOf(at, kInterfaceDescriptionSize - kTrailer);
    while (const std::optional<Option> option = TakeOption(options)) {
        if (option->code == kTimestampResolution && option->value.size() == 1) {
            description.resolution = option->value.front();
        } else if (option->code == kTimestampOffset && option->value.size() == 8) {
            description.timeOffset = Get<std::int64_t>(option->value.data());
        } else if (option->code == kFcsLength && option->value.size() == 1) {
            const std::uint8_t length = option->value.front();
            description.fcsLength = length < 8 ? static_cast<std::uint8_t>(8 * length) : length;
        } else if (option->code == kInterfaceName) {
            if (m_KeepsNames) {
                name = {reinterpret_cast<const char*>(option->value.data()), option->value.size()};
            }
        } else {
            (option->code == kComment ? block.extras.comments : block.extras.otherOptions) += 1;
        }
    }
    description.linkType = static_cast<std::uint16_t>(
        formats::link_type::Canonical(Get<std::uint16_t>(at.start + kLinkTypeOffset)));
    description.snapLen = Get<std::uint32_t>(at.start + kSnapLenOffset);
    description.hash =
        XXH3_64bits_withSeed(at.start + kBlockStart, at.length - kSmallestBlock, utils::HashSeed());
    block.extras.interfaceNames += m_Interfaces.KeepsName(name) ? 0U : 1U;
    const Interface described = m_Interfaces.Add(description, name);
    NoteTraits(described);
    if (m_KeepsAllLinkTypes) {
        m_Interfaces.GiveOut(described, block);
    }
    return {};
}

void PcapNgFramer::NoteTraits(const Interface& described) {
    if (m_Traits.hasRecord) {
        return;
    }
    const bool isFirst = !m_Traits.linkType;
    const std::uint32_t fcsBits = formats::link_type::FcsBitsOf(described.fcsLength);
    m_Traits.fcsBits = isFirst || m_Traits.fcsBits == fcsBits ? fcsBits : 0;
    m_Traits.tellsFcsLength |= described.fcsLength.has_value();
    m_Traits.linkType = m_Traits.linkType.value_or(described.linkType);
    m_Traits.snapLen = std::max(m_Traits.snapLen, described.snapLen);
    m_Traits.isFinerThanMicroseconds |= described.isFinerThanMicroseconds;
}

bool PcapNgFramer::Admit(RecordBlock& block, std::uint32_t linkType) {
    if (!m_Traits.hasRecord) {
        m_Traits.hasRecord = true;
        m_Traits.linkType = linkType;
    }
    if (m_KeepsAllLinkTypes || linkType == *m_Traits.linkType) {
        return true;
    }
    block.recordsLeftOut += 1;
    block.leftOutLinkType = linkType;
    return false;
}

std::string PcapNgFramer::ReadPacket(const BlockAt& at, RecordBlock& block, const Bytes& bytes) {
    const std::uint32_t number = at.type == kEnhancedPacket ? Get<std::uint32_t>(at.start + 8)
                                                            : Get<std::uint16_t>(at.start + 8);
    const InterfaceDescription& from = m_Interfaces.At(number);
    const std::uint64_t ticks = (std::uint64_t{Get<std::uint32_t>(at.start + 12)} << 32U) |
                                Get<std::uint32_t>(at.start + 16);
    const std::int64_t time = m_Interfaces.TimeOf(from, ticks);
    const auto captured = Get<std::uint32_t>(at.start + 20);
    const auto original = Get<std::uint32_t>(at.start + 24);
    CountOptions(OptionsOf(at, kPacketDataOffset + Padded(captured)), block.extras);
    CountRecord(block, bytes, at.position + at.length, time);
    if (Admit(block, from.linkType)) {
        block.AddPacketBlock(at.position, time, captured, original,
                             m_Interfaces.NumberInBlock(number, block));
    }
    return {};
}

std::string PcapNgFramer::ReadSimplePacket(const BlockAt& at, RecordBlock& block,
                                           const Bytes& bytes) {
    const InterfaceDescription& from = m_Interfaces.At(0);
    const auto original = Get<std::uint32_t>(at.start + 8);
    const std::uint32_t captured = from.snapLen == 0 ? original : std::min(original, from.snapLen);
    if (const std::uint32_t largest = LargestLength(from.snapLen, from.linkType);
        captured > largest) {
        return TooLong(captured, largest);
    }
    if (kSimplePacketSize + Padded(captured) > at.length) {
        return "a packet's captured bytes do not fit into its block";
    }
    // No time of its own: that of the record before it.
    const std::int64_t time = m_LastTime;
    CountRecord(block, bytes, at.position + at.length, time);
    if (Admit(block, from.linkType)) {
        block.AddSimplePacketBlock(at.position, time, captured, original,
                                   m_Interfaces.NumberInBlock(0, block));
    }
    return {};
}

std::span<const std::uint8_t> PcapNgFramer::OptionsOf(const BlockAt& at, std::size_t start) {
    return {at.start + start, at.start + at.length - kTrailer};
}

std::optional<PcapNgFramer::Option> PcapNgFramer::TakeOption(
    std::span<const std::uint8_t>& options) const {
    if (options.size() < kOptionStart) {
        return std::nullopt;
    }
    const auto code = Get<std::uint16_t>(options.data());
    const auto length = Get<std::uint16_t>(options.data() + 2);
    if (code == kEndOfOptions || options.size() - kOptionStart < Padded(length)) {
        return std::nullopt;
    }
    const Option option{code, options.subspan(kOptionStart, length)};
    options = options.subspan(kOptionStart + Padded(length));
    return option;
}

void PcapNgFramer::CountOptions(std::span<const std::uint8_t> options, Extras& extras) const {
    while (const std::optional<Option> option = TakeOption(options)) {
        (option->code == kComment ? extras.comments : extras.otherOptions) += 1;
    }
}

const char* PcapNgFramer::InsideWhat() const {
    return m_IsCapture ? "inside a block" : "inside the section header";
}

}  // namespace velora::capture
