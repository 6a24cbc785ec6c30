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

using namespace PcapNgFormat;

constexpr std::size_t kBlockStart = 8;          // type and length
constexpr std::size_t kSectionStart = 12;       // and the byte-order magic
constexpr std::size_t kTrailer = 4;             // the second length
constexpr std::size_t kOptionStart = 4;         // code and length of an option
constexpr std::size_t kMostInterfaces = 65536;  // a section
constexpr std::size_t kLinkTypeOffset = 8;      // of an interface description
constexpr std::size_t kSnapLenOffset = 12;
// So many descriptions back it is looked which of several equal ones of a section this is.
constexpr std::size_t kMostRunsBack = 64;
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
    m_Block += 1;
    for (;;) {
        if (std::exchange(m_HasGrownBeside, false) && IsFullBeside(block)) {
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
            block.hasExtras |= at.type == kNameResolution || at.type == kDecryptionSecrets;
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
        if (interface >= m_Interfaces) {
            return "a packet of interface " + std::to_string(interface) +
                   ", which was never described";
        }
        const InterfaceRun& from = RunOf(interface);
        const std::uint32_t largest = LargestLength(from.snapLen, from.linkType);
        const auto captured = Get<std::uint32_t>(at.start + 20);
        if (captured > largest) {
            return TooLong(captured, largest);
        }
        if (kPacketSize + Padded(captured) > at.length) {
            return "a packet's captured bytes do not fit into its block";
        }
    }
    if (at.type == kSimplePacket && m_Interfaces == 0) {
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
    block.hasExtras |= HasComment(OptionsOf(at, kSectionHeaderSize - kTrailer));
    m_FirstInterface += m_Interfaces;
    m_Interfaces = 0;
    m_Runs.clear();
    m_Block += 1;
    m_Traits.format = Format::kPcapNg;
    m_IsCapture = true;
    return {};
}

std::string PcapNgFramer::ReadInterface(const BlockAt& at, RecordBlock& block) {
    if (m_Interfaces == kMostInterfaces) {
        return "more than 65536 interfaces in a section";
    }
    InterfaceRun added;
    added.first = static_cast<std::uint16_t>(m_Interfaces);
    added.resolution = kDefaultTimestampResolution;
    added.linkType = Get<std::uint16_t>(at.start + kLinkTypeOffset);
    added.snapLen = Get<std::uint32_t>(at.start + kSnapLenOffset);
    auto options = OptionsOf(at, kInterfaceDescriptionSize - kTrailer);
    while (const std::optional<Option> option = TakeOption(options)) {
        if (option->code == kTimestampResolution && option->value.size() == 1) {
            added.resolution = option->value.front();
        } else if (option->code == kTimestampOffset && option->value.size() == 8) {
            added.offset = Get<std::int64_t>(option->value.data());
        } else if (option->code == kFcsLength && option->value.size() == 1) {
            const std::uint8_t length = option->value.front();
            added.fcsLength = length < 8 ? static_cast<std::uint8_t>(8 * length) : length;
        } else if (option->code == kComment) {
            block.hasExtras = true;
        }
    }
    added.descriptionHash =
        XXH3_64bits_withSeed(at.start + kBlockStart, at.length - kSmallestBlock, utils::HashSeed());
    const bool isNewRun = CountEqualOnes(added);
    m_Interfaces += 1;
    const Interface description = InterfaceOf(added, added.first);
    NoteTraits(description);
    if (isNewRun) {
        m_Runs.push_back(added);
    }
    if (m_KeepsAllLinkTypes) {
        AddDescription(block, description);
    }
    return {};
}

// Sets the ordinal. False where the interface goes on with the last run.
bool PcapNgFramer::CountEqualOnes(InterfaceRun& added) const {
    std::uint32_t end = m_Interfaces;  // of the run looked at
    for (std::size_t back = 1; back <= std::min(m_Runs.size(), kMostRunsBack); ++back) {
        const InterfaceRun& run = m_Runs[m_Runs.size() - back];
        if (run.descriptionHash == added.descriptionHash) {
            added.ordinal = static_cast<std::uint16_t>(run.ordinal + end - run.first);
            return back > 1;
        }
        end = run.first;
    }
    return true;
}

Interface PcapNgFramer::InterfaceOf(const InterfaceRun& run, std::uint32_t interface) const {
    Interface description;
    description.linkType = LinkType::Canonical(run.linkType);
    description.snapLen = run.snapLen;
    description.number = m_FirstInterface + interface;
    if (run.fcsLength != kNoFcsLength) {
        description.fcsLength = run.fcsLength;
    }
    description.isFinerThanMicroseconds = TickTime::Of(run.resolution).IsFinerThanMicroseconds();
    description.descriptionHash = run.descriptionHash;
    description.ordinal = run.ordinal + interface - run.first;
    return description;
}

void PcapNgFramer::NoteTraits(const Interface& description) {
    if (m_Traits.hasRecord) {
        return;
    }
    const bool isFirst = !m_Traits.linkType;
    const std::uint32_t fcsBits = LinkType::FcsBitsOf(description.fcsLength);
    m_Traits.fcsBits = isFirst || m_Traits.fcsBits == fcsBits ? fcsBits : 0;
    m_Traits.tellsFcsLength |= description.fcsLength.has_value();
    m_Traits.linkType = m_Traits.linkType.value_or(description.linkType);
    m_Traits.snapLen = std::max(m_Traits.snapLen, description.snapLen);
    m_Traits.isFinerThanMicroseconds |= description.isFinerThanMicroseconds;
}

// Sections often describe what the one before has described: that is told once. (Where there are
// many interfaces, now and then again.)
void PcapNgFramer::AddDescription(RecordBlock& block, const Interface& description) {
    std::optional<Interface>& lately =
        m_Described[(description.descriptionHash + description.ordinal) % m_Described.size()];
    if (lately && lately->IsSameAs(description)) {
        return;
    }
    lately = description;
    if (!block.described.empty()) {
        DescribedInterfaces& last = block.described.back();
        if (last.first.descriptionHash == description.descriptionHash &&
            last.first.ordinal + last.count == description.ordinal &&
            last.first.number + last.count == description.number) {
            last.count += 1;
            return;
        }
    }
    block.described.push_back({description});
    m_HasGrownBeside = true;
}

const PcapNgFramer::InterfaceRun& PcapNgFramer::RunOf(std::uint32_t interface) const {
    if (m_Runs.size() == m_Interfaces) {
        return m_Runs[interface];
    }
    return *std::prev(std::ranges::upper_bound(m_Runs, interface, {}, &InterfaceRun::first));
}

std::uint32_t PcapNgFramer::NumberInBlock(RecordBlock& block, std::uint32_t interface) {
    InBlock& known = m_InBlock[interface % m_InBlock.size()];
    if (known.block != m_Block || known.interface != interface) {
        const Interface description = InterfaceOf(RunOf(interface), interface);
        known = {m_Block, interface, block.AddInterface(description)};
        m_HasGrownBeside = true;
    }
    return known.number;
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
    const InterfaceRun& from = RunOf(number);
    const std::uint64_t ticks = (std::uint64_t{Get<std::uint32_t>(at.start + 12)} << 32U) |
                                Get<std::uint32_t>(at.start + 16);
    const std::int64_t time = from.TimeOf(ticks);
    const auto captured = Get<std::uint32_t>(at.start + 20);
    const auto original = Get<std::uint32_t>(at.start + 24);
    block.hasExtras =
        block.hasExtras || HasComment(OptionsOf(at, kPacketDataOffset + Padded(captured)));
    CountRecord(block, bytes, at.position + at.length, time);
    if (Admit(block, LinkType::Canonical(from.linkType))) {
        block.AddPacketBlock(at.position, time, captured, original, NumberInBlock(block, number));
    }
    return {};
}

std::string PcapNgFramer::ReadSimplePacket(const BlockAt& at, RecordBlock& block,
                                           const Bytes& bytes) {
    const InterfaceRun& from = m_Runs.front();
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
    if (Admit(block, LinkType::Canonical(from.linkType))) {
        block.AddSimplePacketBlock(at.position, time, captured, original, NumberInBlock(block, 0));
        m_HasGrownBeside = true;
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

bool PcapNgFramer::HasComment(std::span<const std::uint8_t> options) const {
    while (const std::optional<Option> option = TakeOption(options)) {
        if (option->code == kComment) {
            return true;
        }
    }
    return false;
}

const char* PcapNgFramer::InsideWhat() const {
    return m_IsCapture ? "inside a block" : "inside the section header";
}

}  // namespace velora::capture
