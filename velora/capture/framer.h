// Framer: finds the whole records in the bytes of one format.
//
// A framer sees the bytes of a capture in order, a block at a time, and keeps between two blocks
// only what the format asks for. What a block's end cuts is shown to it again at the front of the
// next.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "velora/capture/capture_traits.h"
#include "velora/capture/record_block.h"

namespace velora::capture {

class Framer {
 public:
    Framer() = default;
    virtual ~Framer() = default;
    Framer(const Framer&) = delete;
    Framer& operator=(const Framer&) = delete;

    // The bytes that are there.
    struct Bytes {
        std::size_t count = 0;       // at the front of the block's room
        std::uint64_t offset = 0;    // of the first of them in the decompressed capture
        std::uint64_t verified = 0;  // offset up to which checksums were right
    };

    // How far they were understood.
    struct Result {
        std::size_t used = 0;    // bytes that need not be shown again
        std::size_t wanted = 0;  // bytes from `used` on that what stands there takes in all, as far
                                 // as can be seen; more than are there
        std::string fault;       // when not empty: what is wrong at `used`; nothing further is read
        bool isBlockFull = false;  // the block is to be used as it is, whatever else is there
    };

    // Notes all whole records in the block, which has none yet.
    [[nodiscard]] virtual Result Frame(RecordBlock& block, const Bytes& bytes) = 0;

    // Bytes have been shown that make up no whole record or block. (Besides those not yet used.)
    [[nodiscard]] virtual bool IsInside() const { return false; }
    // And where that begins in the decompressed capture.
    [[nodiscard]] virtual std::uint64_t InsideSince() const { return 0; }
    // What is cut when the bytes end now: "inside a record".
    [[nodiscard]] virtual const char* InsideWhat() const = 0;

    // The file's own header was whole: it is a capture.
    [[nodiscard]] bool IsCapture() const { return m_IsCapture; }
    [[nodiscard]] const CaptureTraits& Traits() const { return m_Traits; }
    // Records so far, and how many of them stand before what is verified.
    [[nodiscard]] std::uint64_t Records() const { return m_Records; }
    [[nodiscard]] std::uint64_t VerifiedRecords() const { return m_VerifiedRecords; }

 protected:
    // The largest captured length that is believed, and what is said of a larger one.
    [[nodiscard]] static std::uint32_t LargestLength(std::uint32_t snapLen, std::uint32_t linkType);
    [[nodiscard]] static std::string TooLong(std::uint32_t capturedLength, std::uint32_t largest);

    // What was verified before this block holds for all records before it.
    void BeginBlock(const Bytes& bytes);
    // The block takes more memory beside its room than such a room may come with.
    [[nodiscard]] static bool IsFullBeside(const RecordBlock& block) {
        constexpr std::size_t kLeast = 1024;  // small blocks are few, or it would be too little
        constexpr std::size_t kShare = 16;    // doubled by the room that vectors grow into
        const std::size_t beside = block.BytesBeside();
        return beside > kLeast && beside > block.Bytes().size() / kShare;
    }
    // A whole record that ends in front of `end`, a position among `bytes`.
    void CountRecord(RecordBlock& block, const Bytes& bytes, std::size_t end, std::int64_t time);

    // What IsCapture and Traits tell.
    bool m_IsCapture = false;
    CaptureTraits m_Traits;
    std::int64_t m_LastTime = 0;  // of the record before in the file, left-out ones included

 private:
    std::uint64_t m_Records = 0;
    std::uint64_t m_VerifiedRecords = 0;
};

inline void Framer::BeginBlock(const Bytes& bytes) {
    if (bytes.verified >= bytes.offset) {
        m_VerifiedRecords = m_Records;
    }
}

inline void Framer::CountRecord(RecordBlock& block, const Bytes& bytes, std::size_t end,
                                std::int64_t time) {
    block.stepsBack += m_Records > 0 && time < m_LastTime ? 1 : 0;
    block.recordsRead += 1;
    m_LastTime = time;
    m_Records += 1;
    if (bytes.offset + end <= bytes.verified) {
        m_VerifiedRecords = m_Records;
    }
}

}  // namespace velora::capture
