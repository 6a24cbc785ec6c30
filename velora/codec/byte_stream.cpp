#include "velora/codec/byte_stream.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "velora/codec/decoder.h"
#include "velora/codec/member_rules.h"
#include "velora/utils/errno_text.h"

namespace velora::codec {
namespace {

constexpr std::size_t kFirstRaw = 4096;  // enough to tell what it is
// How far the libraries come with a damaged or cut member depends on the ends of what they are
// given. So they get it by pieces of one size, counted from the member's start, however it arrives,
// and those that come equally far in any case get all whole pieces at once.
constexpr std::size_t kPiece = 4096;

std::unique_ptr<Decoder> MakeDecoder(Compression compression) {
    switch (compression) {
        case Compression::kBzip2:
            return MakeBzip2Decoder();
        case Compression::kXz:
            return MakeXzDecoder();
        case Compression::kZstd:
            return MakeZstdDecoder();
        case Compression::kLz4:
            return MakeLz4Decoder();
        default:
            return MakeGzipDecoder();
    }
}

}  // namespace

ByteStream::ByteStream(std::size_t rawCapacity, bool givesAtOnce)
    : m_RawCapacity(std::max(rawCapacity, kFirstRaw)), m_GivesAtOnce(givesAtOnce) {}
ByteStream::~ByteStream() = default;
ByteStream::ByteStream(ByteStream&&) noexcept = default;
ByteStream& ByteStream::operator=(ByteStream&&) noexcept = default;

ByteStream::Step ByteStream::Read(std::span<std::uint8_t> out) {
    Step step;
    while (step.given < out.size()) {
        if (m_Place == Place::kEnd || m_Place == Place::kBroken) {
            step.state = m_Place == Place::kEnd ? State::kEnd : State::kBroken;
            Release();
            return step;
        }
        std::size_t given = 0;
        const bool hasGoneOn = GoOn(out.subspan(step.given), given);
        step.given += given;
        m_GivenBytes += given;
        if (m_Place == Place::kBetween || m_Place == Place::kPlain) {
            m_VerifiedBytes = m_GivenBytes;
        }
        if (hasGoneOn) {
            continue;
        }
        if (!m_HasEnded) {
            step.state = State::kNeedsBytes;
            return step;
        }
        MeetEnd();
    }
    return step;
}

// Of memory, when nothing held is wanted and no member can follow.
void ByteStream::Release() {
    std::vector<std::uint8_t>().swap(m_Raw);  // given back, not only emptied
    m_HeldBegin = m_HeldEnd = 0;
    m_Decoder.reset();
}

std::span<std::uint8_t> ByteStream::Wanted(std::span<std::uint8_t> out) {
    m_IsDirect = m_Place == Place::kPlain && !out.empty();
    if (m_IsDirect) {
        return out;
    }
    // What is held here is less than it takes to tell what follows, or than a piece.
    std::copy(m_Raw.begin() + static_cast<std::ptrdiff_t>(m_HeldBegin),
              m_Raw.begin() + static_cast<std::ptrdiff_t>(m_HeldEnd), m_Raw.begin());
    m_HeldEnd -= m_HeldBegin;
    m_HeldBegin = 0;
    m_Raw.resize(m_Decoder ? m_RawCapacity : kFirstRaw);
    return std::span(m_Raw).subspan(m_HeldEnd);
}

void ByteStream::Arrived(std::size_t count) noexcept {
    (m_IsDirect ? m_Direct : m_HeldEnd) += count;
}

void ByteStream::Failed(int error) noexcept {
    m_ReadError = error;
    m_HasEnded = true;
}

bool ByteStream::GoOn(std::span<std::uint8_t> out, std::size_t& given) {
    switch (m_Place) {
        case Place::kPlain:
            return GoOnPlain(out, given);
        case Place::kMember:
            return GoOnInMember(out, given);
        case Place::kSkippable:
            return GoOnInSkippable();
        default:
            return BeginMember();
    }
}

bool ByteStream::GoOnPlain(std::span<std::uint8_t> out, std::size_t& given) {
    if (m_Direct > 0) {
        given = std::exchange(m_Direct, 0);
        return true;
    }
    given = std::min(Held().size(), out.size());
    if (given == 0) {
        Release();
        return false;
    }
    std::memcpy(out.data(), Held().data(), given);
    m_HeldBegin += given;
    return true;
}

bool ByteStream::GoOnInMember(std::span<std::uint8_t> out, std::size_t& given) {
    if (m_LeftOfPiece == 0 && !m_MayHold) {
        if (Held().empty() || (Held().size() < kPiece && !m_HasEnded && !m_GivesAtOnce)) {
            return false;
        }
        m_LeftOfPiece = std::min(Held().size(), kPiece);
        if (m_Decoder->IsExact()) {
            m_LeftOfPiece = std::max(m_LeftOfPiece, Held().size() / kPiece * kPiece);
        }
    }
    const auto in = Held().first(m_LeftOfPiece);
    Decoder::Step step = m_Decoder->Decode(in, out);
    m_HeldBegin += step.taken;
    m_LeftOfPiece -= step.taken;
    given = step.given;
    m_MayHold = given == out.size();
    if (step.fault) {
        Break(std::move(*step.fault));
    } else if (step.isMemberEnd) {
        m_Place = Place::kBetween;
    } else if (!in.empty() && step.taken == 0 && given == 0) {
        Break(BadData(m_Compression, "they lead nowhere"));
    }
    return true;
}

bool ByteStream::GoOnInSkippable() {
    const std::size_t count = std::min<std::uint64_t>(Held().size(), m_LeftToSkip);
    m_HeldBegin += count;
    m_LeftToSkip -= count;
    if (m_LeftToSkip > 0) {
        return false;
    }
    m_Place = Place::kBetween;
    return true;
}

bool ByteStream::BeginMember() {
    const bool isFirst = m_Place == Place::kFileStart;
    while (!isFirst && !Held().empty() && Held().front() == 0) {
        ++m_HeldBegin;
    }
    const MemberStart start = Held().empty() ? MemberStart::kUnsure : DetectMember(Held());
    if (start == MemberStart::kUnsure ||
        (start == MemberStart::kSkippable && Held().size() < kSkippableHeaderSize)) {
        return false;
    }
    if (isFirst && start == MemberStart::kOther) {
        m_Place = Place::kPlain;
        return true;
    }
    if (!isFirst && !MayFollow(Members(), start)) {
        BreakBehindMember();
        return true;
    }
    if (start == MemberStart::kSkippable) {
        BeginSkippable();
        return true;
    }
    if (start == MemberStart::kLegacyLz4) {
        m_Compression = Compression::kLz4;
        Break(Refused(Refusal::kLegacyLz4, "it is in the legacy format of lz4"));
        return true;
    }
    m_Compression = CompressionOf(start);
    m_HasMember = true;
    m_Place = Place::kMember;
    m_LeftOfPiece = 0;
    m_MayHold = false;
    if (m_Decoder) {
        m_Decoder->Reset();
    } else {
        m_Decoder = MakeDecoder(m_Compression);
    }
    return true;
}

void ByteStream::BeginSkippable() {
    m_LeftToSkip = SkippableSize(Held());
    m_HeldBegin += kSkippableHeaderSize;
    m_Place = Place::kSkippable;
    if (!m_HasMember) {
        m_Compression = Compression::kZstd;
    }
}

void ByteStream::MeetEnd() {
    if (m_ReadError != 0) {
        Break({Fault::Kind::kReadFailed, MiscUtils::ErrnoText(m_ReadError).text});
        return;
    }
    if (m_Place == Place::kFileStart && DetectMember(Held()) == MemberStart::kSkippable) {
        m_Compression = Compression::kZstd;
    } else if (m_Place == Place::kFileStart) {
        m_Place = Place::kPlain;
        return;
    } else if (m_Place == Place::kPlain || (m_Place == Place::kBetween && Held().empty())) {
        m_Place = Place::kEnd;
        return;
    } else if (m_Place == Place::kBetween && !MayFollowWhole(Members(), Held())) {
        BreakBehindMember();
        return;
    }
    Break({Fault::Kind::kCut,
           std::string("the ") + NameOf(m_Compression) + " stream ends in its middle"});
}

void ByteStream::BreakBehindMember() {
    Break({Fault::Kind::kDamaged, std::string("followed by bytes that are no further ") +
                                      NameOf(m_Compression) + ' ' + MemberNameOf(m_Compression)});
}

void ByteStream::Break(Fault fault) {
    m_Fault = std::move(fault);
    m_Place = Place::kBroken;
}

}  // namespace velora::codec
