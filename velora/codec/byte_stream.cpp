#include "velora/codec/byte_stream.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "velora/codec/decoder.h"
#include "velora/utils/errno_text.h"

namespace velora::codec {
namespace {

constexpr std::size_t kFirstRaw = 4096;  // enough to tell what it is
// How far the libraries come with a damaged or cut member depends on the ends of what they are
// given. So they get it by pieces of one size, counted from the member's start, however it arrives.
constexpr std::size_t kPiece = 4096;
constexpr std::size_t kSkippableHeaderSize = 8;
constexpr std::size_t kSkippableSizeOffset = 4;

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

class ByteStream::Impl {
 public:
    explicit Impl(std::size_t rawCapacity) : m_RawCapacity(std::max(rawCapacity, kFirstRaw)) {}

    Step Read(std::span<std::uint8_t> out);
    std::span<std::uint8_t> Wanted(std::span<std::uint8_t> out);
    void Arrived(std::size_t count);
    void Ended() { m_HasEnded = true; }
    void Failed(int error) {
        m_ReadError = error;
        m_HasEnded = true;
    }

    [[nodiscard]] Compression GetCompression() const { return m_Compression; }
    [[nodiscard]] std::uint64_t GivenBytes() const { return m_GivenBytes; }
    [[nodiscard]] std::uint64_t VerifiedBytes() const { return m_VerifiedBytes; }
    [[nodiscard]] const Fault& GetFault() const { return m_Fault; }

 private:
    enum class Place : std::uint8_t {
        kFileStart,  // of which too little is there to tell what it is
        kPlain,
        kMember,
        kSkippable,
        kBetween,  // behind a member or a skippable frame
        kEnd,
        kBroken,
    };

    // These go on in their place. False: not without further raw bytes.
    bool GoOn(std::span<std::uint8_t> out, std::size_t& given);
    bool BeginMember();
    bool GoOnPlain(std::span<std::uint8_t> out, std::size_t& given);
    bool GoOnInMember(std::span<std::uint8_t> out, std::size_t& given);
    bool GoOnInSkippable();

    void BeginSkippable();
    void MeetEnd();  // there are no further raw bytes
    [[nodiscard]] bool Fits(MemberStart start) const;
    [[nodiscard]] bool HoldsPartOfMember() const;

    void BreakBehindMember();
    void Break(Fault fault) {
        m_Fault = std::move(fault);
        m_Place = Place::kBroken;
    }
    // Of memory, when nothing held is wanted and no member can follow.
    void Release() {
        std::vector<std::uint8_t>().swap(m_Raw);  // given back, not only emptied
        m_HeldBegin = m_HeldEnd = 0;
        m_Decoder.reset();
    }
    [[nodiscard]] std::span<const std::uint8_t> Held() const {
        return std::span(m_Raw).subspan(m_HeldBegin, m_HeldEnd - m_HeldBegin);
    }

    std::size_t m_RawCapacity;
    std::vector<std::uint8_t> m_Raw;
    std::size_t m_HeldBegin = 0;  // in m_Raw: what arrived and was not used
    std::size_t m_HeldEnd = 0;
    bool m_IsDirect = false;   // the bytes last wanted go to where the next Read's `out` begins
    std::size_t m_Direct = 0;  // how many arrived there
    bool m_HasEnded = false;
    int m_ReadError = 0;  // that ended it, if any did

    Place m_Place = Place::kFileStart;
    Compression m_Compression = Compression::kNone;
    bool m_IsTold = false;  // of the compression; not while only skippable frames were met
    std::unique_ptr<Decoder> m_Decoder;
    std::size_t m_LeftOfPiece = 0;   // not taken yet; 0: the next piece has not begun
    bool m_MayHold = false;          // the decoder filled its room
    std::uint64_t m_LeftToSkip = 0;  // of a skippable frame

    std::uint64_t m_GivenBytes = 0;
    std::uint64_t m_VerifiedBytes = 0;
    Fault m_Fault;
};

ByteStream::Step ByteStream::Impl::Read(std::span<std::uint8_t> out) {
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

std::span<std::uint8_t> ByteStream::Impl::Wanted(std::span<std::uint8_t> out) {
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

void ByteStream::Impl::Arrived(std::size_t count) {
    (m_IsDirect ? m_Direct : m_HeldEnd) += count;
}

bool ByteStream::Impl::GoOn(std::span<std::uint8_t> out, std::size_t& given) {
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

bool ByteStream::Impl::GoOnPlain(std::span<std::uint8_t> out, std::size_t& given) {
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

bool ByteStream::Impl::GoOnInMember(std::span<std::uint8_t> out, std::size_t& given) {
    if (m_LeftOfPiece == 0 && !m_MayHold) {
        if (Held().empty() || (Held().size() < kPiece && !m_HasEnded)) {
            return false;
        }
        m_LeftOfPiece = std::min(Held().size(), kPiece);
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

bool ByteStream::Impl::GoOnInSkippable() {
    const std::size_t count = std::min<std::uint64_t>(Held().size(), m_LeftToSkip);
    m_HeldBegin += count;
    m_LeftToSkip -= count;
    if (m_LeftToSkip > 0) {
        return false;
    }
    m_Place = Place::kBetween;
    return true;
}

bool ByteStream::Impl::BeginMember() {
    const bool isFirst = m_Place == Place::kFileStart;
    while (!isFirst && !Held().empty() && Held().front() == 0) {
        ++m_HeldBegin;
    }
    const MemberStart start = Held().empty() ? MemberStart::kUnsure : TellMember(Held());
    if (start == MemberStart::kUnsure ||
        (start == MemberStart::kSkippable && Held().size() < kSkippableHeaderSize)) {
        return false;
    }
    if (isFirst && start == MemberStart::kOther) {
        m_Place = Place::kPlain;
        return true;
    }
    if (!Fits(start)) {
        BreakBehindMember();
        return true;
    }
    if (start == MemberStart::kSkippable) {
        BeginSkippable();
        return true;
    }
    if (start == MemberStart::kLegacyLz4) {
        m_Compression = Compression::kLz4;
        Break(Refused("it is in the legacy format of lz4", "lz4 -dc FILE"));
        return true;
    }
    m_Compression = CompressionOf(start);
    m_IsTold = true;
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

void ByteStream::Impl::BeginSkippable() {
    for (std::size_t i = kSkippableHeaderSize; i-- > kSkippableSizeOffset;) {
        m_LeftToSkip = m_LeftToSkip << 8U | Held()[i];
    }
    m_HeldBegin += kSkippableHeaderSize;
    m_Place = Place::kSkippable;
    if (!m_IsTold) {
        m_Compression = Compression::kZstd;
    }
}

// Whether such a member may stand here.
bool ByteStream::Impl::Fits(MemberStart start) const {
    if (m_Place == Place::kFileStart) {
        return start != MemberStart::kOther;
    }
    const bool mayBeZstd = !m_IsTold || m_Compression == Compression::kZstd;
    const bool mayBeLz4 = !m_IsTold || m_Compression == Compression::kLz4;
    switch (start) {
        case MemberStart::kZstd:
            return mayBeZstd;
        case MemberStart::kLz4:
        case MemberStart::kLegacyLz4:
            return mayBeLz4;
        case MemberStart::kSkippable:
            return mayBeZstd || mayBeLz4;
        default:
            return m_IsTold && start == StartOf(m_Compression);
    }
}

bool ByteStream::Impl::HoldsPartOfMember() const {
    const auto starts = {MemberStart::kGzip,     MemberStart::kBzip2, MemberStart::kXz,
                         MemberStart::kZstd,     MemberStart::kLz4,   MemberStart::kLegacyLz4,
                         MemberStart::kSkippable};
    return std::any_of(starts.begin(), starts.end(),
                       [&](MemberStart start) { return Fits(start) && CanBecome(Held(), start); });
}

void ByteStream::Impl::MeetEnd() {
    if (m_ReadError != 0) {
        Break({Fault::Kind::kReadFailed, MiscUtils::ErrnoText(m_ReadError).text});
        return;
    }
    if (m_Place == Place::kFileStart && TellMember(Held()) == MemberStart::kSkippable) {
        m_Compression = Compression::kZstd;
    } else if (m_Place == Place::kFileStart) {
        m_Place = Place::kPlain;
        return;
    } else if (m_Place == Place::kPlain || (m_Place == Place::kBetween && Held().empty())) {
        m_Place = Place::kEnd;
        return;
    } else if (m_Place == Place::kBetween && !HoldsPartOfMember()) {
        BreakBehindMember();
        return;
    }
    Break({Fault::Kind::kCut,
           std::string("the ") + NameOf(m_Compression) + " stream ends in its middle"});
}

void ByteStream::Impl::BreakBehindMember() {
    Break({Fault::Kind::kDamaged, std::string("followed by bytes that are no further ") +
                                      NameOf(m_Compression) + ' ' + MemberNameOf(m_Compression)});
}

ByteStream::ByteStream(std::size_t rawCapacity) : m_Impl(std::make_unique<Impl>(rawCapacity)) {}
ByteStream::~ByteStream() = default;
ByteStream::ByteStream(ByteStream&&) noexcept = default;
ByteStream& ByteStream::operator=(ByteStream&&) noexcept = default;

ByteStream::Step ByteStream::Read(std::span<std::uint8_t> out) {
    return m_Impl->Read(out);
}
std::span<std::uint8_t> ByteStream::Wanted(std::span<std::uint8_t> out) {
    return m_Impl->Wanted(out);
}
void ByteStream::Arrived(std::size_t count) noexcept {
    m_Impl->Arrived(count);
}
void ByteStream::Ended() noexcept {
    m_Impl->Ended();
}
void ByteStream::Failed(int error) noexcept {
    m_Impl->Failed(error);
}
Compression ByteStream::GetCompression() const {
    return m_Impl->GetCompression();
}
std::uint64_t ByteStream::GivenBytes() const {
    return m_Impl->GivenBytes();
}
std::uint64_t ByteStream::VerifiedBytes() const {
    return m_Impl->VerifiedBytes();
}
const ByteStream::Fault& ByteStream::GetFault() const {
    return m_Impl->GetFault();
}

}  // namespace velora::codec
