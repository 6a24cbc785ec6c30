#include "velora/capture/block_reader.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

#include "velora/capture/classic_framer.h"
#include "velora/capture/pcapng_framer.h"
#include "velora/formats/pcapng_format.h"
#include "velora/utils/hex_text.h"
#include "velora/utils/plain_words.h"

namespace velora::capture {
namespace {

constexpr std::size_t kMagicSize = 4;

// Of a compressed file a little is held besides the blocks; with thousands of inputs, less.
std::size_t RawCapacity(std::size_t blockSize) {
    return std::clamp<std::size_t>(blockSize / 4, 8192, 65536);
}

// Says what a file is that begins with none of the magic numbers, where that can be told.
std::string NoCapture(std::span<const std::uint8_t> bytes, codec::Compression compression) {
    if (bytes.empty()) {
        return "no capture: it is empty";
    }
    if (bytes.size() < kMagicSize) {
        return "no capture: it has " + utils::CountText(bytes.size(), "byte") +
               ", less than any capture";
    }
    const codec::Compression inner = codec::CompressionOf(codec::DetectMember(bytes));
    if (inner != codec::Compression::kNone) {
        return std::string("no capture: ") + NameOf(inner) + " inside " + NameOf(compression) +
               ", and one level of compression is undone";
    }
    std::string text = "no capture: it begins with";
    for (std::size_t index = 0; index < kMagicSize; ++index) {
        text += ' ' + MiscUtils::ByteToHex(bytes[index]);
    }
    return text + ", which is neither pcap nor pcap-ng";
}

}  // namespace

BlockReader::BlockReader(const Options& options)
    : m_Options(options), m_Stream(RawCapacity(options.blockSize), options.givesAtOnce) {
    m_Options.blockSize =
        std::clamp(m_Options.blockSize, Options::kLeastBlockSize, Options::kMostBlockSize);
}

BlockReader::~BlockReader() = default;

void BlockReader::Begin(RecordBlock& block) {
    block.Clear(m_Options.blockSize);
    block.Grow(m_Rest.size());
    std::ranges::copy(m_Rest, block.Room().begin());
    m_Filled = m_Rest.size();
    m_Used = 0;
    m_Seen = 0;
    m_FrontOffset = m_Stream.GivenBytes() - m_Filled;
    m_Rest = {};
    m_IsFilling = true;
}

BlockReader::State BlockReader::Read(RecordBlock& block) {
    if (!m_IsFilling) {
        Begin(block);
    }
    for (;;) {
        const codec::ByteStream::Step step = m_Stream.Read(block.Room().subspan(m_Filled));
        m_Filled += step.given;
        const bool needsBytes = step.state == codec::ByteStream::State::kNeedsBytes;
        if (needsBytes && !IsToLookAtOnce()) {
            return State::kNeedsBytes;
        }
        const Progress progress =
            m_FramingFault ? Verify(block, step.state) : Frame(block, step.state);
        const bool isUnwanted = m_Options.isUnwanted != nullptr && *m_Options.isUnwanted;
        if (progress == Progress::kBlockDone || isUnwanted) {
            m_IsFilling = false;
            return State::kBlock;
        }
    }
}

bool BlockReader::IsToLookAtOnce() const {
    return m_Options.givesAtOnce && !m_FramingFault && m_Filled > m_Seen &&
           (m_Framer || m_Filled >= kMagicSize);
}

bool BlockReader::IsToBeGivenEmpty() const {
    return m_Options.givesAtOnce && !m_HasDelivered && HasHeader() && m_Framer->Traits().linkType;
}

std::span<std::uint8_t> BlockReader::Wanted(RecordBlock& block) {
    return m_Stream.Wanted(block.Room().subspan(m_Filled));
}

// Nothing behind a fault in the records is read, but the checksum there tells what the records
// before it are worth.
BlockReader::Progress BlockReader::Verify(RecordBlock& block, codec::ByteStream::State state) {
    const bool isVerified = m_Framer->VerifiedRecords() == m_Framer->Records() ||
                            m_Stream.VerifiedBytes() >= m_FrontOffset + m_Used;
    if (!isVerified && state == codec::ByteStream::State::kFull && m_Used < m_Filled) {
        m_Filled = m_Used;  // what came is not looked at
        return Progress::kFillOn;
    }
    const bool isDoubtful =
        !isVerified && state == codec::ByteStream::State::kBroken &&
        m_Stream.GetFault().kind == codec::ByteStream::Fault::Kind::kWrongChecksum;
    Conclude(block, isDoubtful ? ProblemOfEnd(state) : std::move(m_FramingFault));
    return Progress::kBlockDone;
}

void BlockReader::Take(std::ptrdiff_t count) {
    if (count > 0) {
        m_Stream.Arrived(static_cast<std::size_t>(count));
    } else if (count == 0) {
        m_Stream.Ended();
    } else {
        m_Stream.Failed(static_cast<int>(-count));
    }
}

// Looks at a block that is full, or at what there is when nothing further comes. One that has
// brought no record must be filled on.
BlockReader::Progress BlockReader::Frame(RecordBlock& block, codec::ByteStream::State state) {
    const bool isOver =
        state == codec::ByteStream::State::kEnd || state == codec::ByteStream::State::kBroken;
    if (!m_Framer) {
        if (std::optional<Problem> problem = ChooseFramer(block)) {
            if (state == codec::ByteStream::State::kBroken) {
                problem = ProblemOfEnd(state);
            }
            Conclude(block, std::move(problem));
            return Progress::kBlockDone;
        }
    }
    const Framer::Result result =
        m_Framer->Frame(block, {m_Filled, m_FrontOffset, m_Stream.VerifiedBytes()});
    m_Used = result.used;
    m_Seen = m_Filled;
    if (!result.fault.empty()) {
        m_FramingFault =
            Describe(HasHeader() ? ProblemKind::kDamage : ProblemKind::kNoCapture, result.fault);
        return Verify(block, state);
    }
    if (isOver && !result.isBlockFull) {
        Conclude(block, ProblemOfEnd(state));
        return Progress::kBlockDone;
    }
    if (block.HasRecords() || result.isBlockFull || IsToBeGivenEmpty()) {
        m_Rest = std::span<const std::uint8_t>(block.Room()).subspan(m_Used, m_Filled - m_Used);
        Deliver(block);
        return Progress::kBlockDone;
    }
    // Nothing but what is stepped over, or the front of a record that is larger than the block: the
    // room grows with the bytes that have come, not with what a length claims.
    std::uint8_t* const room = block.Room().data();
    std::memmove(room, room + m_Used, m_Filled - m_Used);
    m_Filled -= m_Used;
    m_FrontOffset += m_Used;
    m_Seen -= m_Used;
    m_Used = 0;
    if (m_Filled == block.Room().size()) {
        block.Grow(std::min(std::max(result.wanted, m_Filled + 1), 2 * m_Filled));
    }
    return Progress::kFillOn;
}

std::optional<Problem> BlockReader::ChooseFramer(const RecordBlock& block) {
    const std::span<const std::uint8_t> bytes = block.Bytes().first(m_Filled);
    std::uint32_t magic = 0;
    if (bytes.size() >= kMagicSize) {
        std::memcpy(&magic, bytes.data(), sizeof magic);
    }
    if (magic == formats::pcapng::kSectionHeader) {
        m_Framer = std::make_unique<PcapNgFramer>(m_Options.keepsAllLinkTypes,
                                                  m_Options.keepsInterfaceNames);
    } else if (ClassicFramer::IsMagic(magic)) {
        m_Framer = std::make_unique<ClassicFramer>();
    } else {
        return Problem{ProblemKind::kNoCapture, NoCapture(bytes, m_Stream.GetCompression()), 0, 0};
    }
    return std::nullopt;
}

// What the end of the bytes means for the capture: nothing where it ends behind a whole record.
std::optional<Problem> BlockReader::ProblemOfEnd(codec::ByteStream::State state) const {
    const bool isCapture = HasHeader();
    const ProblemKind kind = isCapture ? ProblemKind::kDamage : ProblemKind::kNoCapture;
    const bool isInside = m_Framer && (m_Used < m_Filled || m_Framer->IsInside() || !isCapture);
    const std::string inside = m_Framer ? m_Framer->InsideWhat() : "before any record";
    if (state == codec::ByteStream::State::kEnd) {
        if (!isInside) {
            return std::nullopt;
        }
        return Describe(kind, "the file ends " + inside);
    }
    const codec::ByteStream::Fault& fault = m_Stream.GetFault();
    using Kind = codec::ByteStream::Fault::Kind;
    switch (fault.kind) {
        case Kind::kReadFailed:
            return Describe(ProblemKind::kCannotRead, fault.reason);
        case Kind::kWrongChecksum: {
            if (!isCapture) {
                return Describe(kind, fault.reason);
            }
            Problem problem{ProblemKind::kWrongChecksum, {}, m_Framer->Records(), OffsetReached()};
            problem.text = fault.reason + ": " + utils::CountText(problem.records, "record") +
                           " kept, doubtful from record " +
                           std::to_string(m_Framer->VerifiedRecords() + 1) + " on";
            return problem;
        }
        case Kind::kCut:
            return Describe(kind, fault.reason);
        case Kind::kDamaged:
        case Kind::kRefused: {
            Problem problem = Describe(kind, fault.reason);
            if (isCapture) {
                // The decoder knows its place: what it has given out is right.
                problem = DescribeAt(kind, m_Stream.GivenBytes(), fault.reason);
            }
            problem.refusal = fault.refusal;
            return problem;
        }
    }
    return std::nullopt;
}

std::uint64_t BlockReader::OffsetReached() const {
    return m_Framer && m_Framer->IsInside() ? m_Framer->InsideSince() : m_FrontOffset + m_Used;
}

Problem BlockReader::Describe(ProblemKind kind, const std::string& reason) const {
    return DescribeAt(kind, OffsetReached(), reason);
}

Problem BlockReader::DescribeAt(ProblemKind kind, std::uint64_t offset,
                                const std::string& reason) const {
    if (!HasHeader()) {
        return {kind, (kind == ProblemKind::kNoCapture ? "no capture: " : "") + reason, 0, offset};
    }
    const std::uint64_t records = m_Framer->Records();
    return {kind,
            utils::CountText(records, "record") + " read, then at byte " + std::to_string(offset) +
                ": " + reason,
            records, offset};
}

void BlockReader::Deliver(RecordBlock& block) {
    if (!m_HasDelivered || (m_Options.givesAtOnce && !m_Traits.hasRecord)) {
        m_IsCapture = HasHeader();
        m_Traits = m_Framer->Traits();
        m_Traits.compression = m_Stream.GetCompression();
        m_HasDelivered = true;
    }
    const bool isFiltered = block.HasRecords() && (block.EarliestTime() < m_Options.earliest ||
                                                   block.LatestTime() > m_Options.latest);
    const bool isMixed = m_Options.ordersBlocks && block.IsMixed();
    if (isFiltered || isMixed) {
        block.Index(m_Options.ordersBlocks, m_Options.earliest, m_Options.latest);
    }
}

void BlockReader::Conclude(RecordBlock& block, std::optional<Problem> problem) {
    block.problem = std::move(problem);
    block.isLast = true;
    if (m_Framer) {
        Deliver(block);
    }
}

}  // namespace velora::capture
