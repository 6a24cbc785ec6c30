// ByteStream: the bytes of one capture, decompressed.
//
// It makes no system call: its owner reads the raw bytes, from a file or from a pipe, in whatever
// thread suits, to where the stream wants them. So the stream can stop at any byte and go on later,
// and nothing in here ever waits.
//
// The compression (none, gzip, bzip2, xz, zstd, lz4 frames; one level) is told by content. Members,
// streams and frames that follow each other are read to the last one; zero bytes between and behind
// them are padding; skippable frames of zstd and lz4 are stepped over. Checksums that the file
// carries are verified.
//
// Example:
//     ByteStream stream(65536);
//     for (;;) {
//         const ByteStream::Step step = stream.Read(out);     // out: what is left of your buffer
//         out = out.subspan(step.given);
//         if (step.state != ByteStream::State::kNeedsBytes) break;
//         const std::span<std::uint8_t> place = stream.Wanted(out);
//         const ssize_t count = read(fd, place.data(), place.size());
//         count > 0 ? stream.Arrived(count) : count == 0 ? stream.Ended() : stream.Failed(errno);
//     }
//
// An object belongs to one thread at a time.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "velora/codec/compression.h"
#include "velora/codec/stream_fault.h"
#include "velora/utils/api.h"

namespace velora::codec {

class Decoder;

class VELORA_API ByteStream {
 public:
    // How far a Read came, and what it takes to go on.
    enum class State : std::uint8_t {
        kFull,        // `out` is full; ask again with more room
        kNeedsBytes,  // raw bytes are wanted: see Wanted
        kEnd,         // all bytes are given, and all was in order
        kBroken,      // nothing further comes: see GetFault
    };

    // What a Read gave.
    struct Step {
        std::size_t given = 0;       // bytes of `out` that were filled, whatever the state
        State state = State::kFull;  // why it gave no more
    };

    // Why a stream is broken.
    using Fault = StreamFault;

    // `rawCapacity` bytes, at least 4096, are held of a compressed file, and to begin with of any.
    // With `givesAtOnce` all is decoded that has arrived, so that what comes out of a damaged
    // member in front of the damage may depend on how it arrives; else it does not.
    explicit ByteStream(std::size_t rawCapacity, bool givesAtOnce = false);
    ~ByteStream();
    ByteStream(ByteStream&&) noexcept;
    ByteStream& operator=(ByteStream&&) noexcept;
    ByteStream(const ByteStream&) = delete;
    ByteStream& operator=(const ByteStream&) = delete;

    // Gives what it has, in order. `out` may be empty, which is answered by kFull.
    [[nodiscard]] Step Read(std::span<std::uint8_t> out);

    // After kNeedsBytes: where the next raw bytes go, never empty. `out` is what was left of the
    // room at that Read: bytes of a capture that is not compressed go straight there. Exactly one
    // of the three below follows, then Read with the same `out`, which counts what went there.
    [[nodiscard]] std::span<std::uint8_t> Wanted(std::span<std::uint8_t> out);
    void Arrived(std::size_t count) noexcept;     // 1 to the size of what was wanted
    void Ended() noexcept { m_HasEnded = true; }  // no further raw byte
    void Failed(int error) noexcept;              // an errno value

    // Known as soon as a byte has been given, or the stream is at its end or broken. A file of
    // nothing but skippable frames counts as zstd.
    [[nodiscard]] Compression GetCompression() const { return m_Compression; }

    // So far: bytes given out, and how many of them stand before the last checksum that was found
    // right (or end of a member without one). What stands behind is doubtful when the next checksum
    // is wrong. Without compression nothing is.
    [[nodiscard]] std::uint64_t GivenBytes() const { return m_GivenBytes; }
    [[nodiscard]] std::uint64_t VerifiedBytes() const { return m_VerifiedBytes; }

    // After kBroken.
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

    void BreakBehindMember();
    void Break(Fault fault);
    void Release();
    [[nodiscard]] Compression Members() const {
        return m_HasMember ? m_Compression : Compression::kNone;
    }
    [[nodiscard]] std::span<const std::uint8_t> Held() const {
        return std::span(m_Raw).subspan(m_HeldBegin, m_HeldEnd - m_HeldBegin);
    }

    std::size_t m_RawCapacity;
    bool m_GivesAtOnce;
    std::vector<std::uint8_t> m_Raw;
    std::size_t m_HeldBegin = 0;  // in m_Raw: what arrived and was not used
    std::size_t m_HeldEnd = 0;
    bool m_IsDirect = false;   // the bytes last wanted go to where the next Read's `out` begins
    std::size_t m_Direct = 0;  // how many arrived there
    bool m_HasEnded = false;
    int m_ReadError = 0;  // that ended it, if any did

    Place m_Place = Place::kFileStart;
    Compression m_Compression = Compression::kNone;
    bool m_HasMember = false;  // one was met that is no skippable frame
    std::unique_ptr<Decoder> m_Decoder;
    std::size_t m_LeftOfPiece = 0;   // not taken yet; 0: the next piece has not begun
    bool m_MayHold = false;          // the decoder filled its room
    std::uint64_t m_LeftToSkip = 0;  // of a skippable frame

    std::uint64_t m_GivenBytes = 0;
    std::uint64_t m_VerifiedBytes = 0;
    Fault m_Fault;
};

}  // namespace velora::codec
