// BlockReader: a capture of any format and compression as blocks of whole records.
//
// Like the ByteStream in it, it makes no system call and never waits: its owner brings the bytes. A
// block is filled to its size before it is looked at, so what stands in a block depends on the file
// and on the size of the blocks alone; unless it is asked to give at once, when it depends on how
// the bytes arrive. What a block's end cuts is taken over into the next.
//
// An object belongs to one thread at a time.

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <span>

#include "velora/capture/capture_traits.h"
#include "velora/capture/framer.h"
#include "velora/capture/problem.h"
#include "velora/capture/record_block.h"
#include "velora/codec/byte_stream.h"
#include "velora/utils/api.h"

namespace velora::capture {

class VELORA_API BlockReader {
 public:
    // How to read; the same for all inputs of a run.
    struct Options {
        // Less counts as this, and more as that: places in a block are numbers of 32 bits.
        static constexpr std::size_t kLeastBlockSize = 64;
        static constexpr std::size_t kMostBlockSize = std::size_t{1} << 30U;

        std::size_t blockSize = std::size_t{1} << 20U;  // bytes
        // Takes the records of a block by time where they do not stand so.
        bool ordersBlocks = false;
        // Records of other link types than the first are not left out.
        bool keepsAllLinkTypes = false;
        // Interfaces are given out with their names.
        bool keepsInterfaceNames = false;
        // A block is given out as soon as it has a record, and the first one as soon as it is known
        // what the capture is like (it may have none then), before it is filled.
        bool givesAtOnce = false;
        // Records outside of these times do not appear in a block, but are counted as read.
        std::int64_t earliest = std::numeric_limits<std::int64_t>::min();
        std::int64_t latest = std::numeric_limits<std::int64_t>::max();
        // Set by another thread once nobody wants the block any more: it then ends anywhere. A few
        // bytes on disk may stand for so many that a block takes seconds.
        const std::atomic<bool>* isUnwanted = nullptr;
    };

    // Stands at the start of a capture.
    explicit BlockReader(const Options& options);
    ~BlockReader();
    BlockReader(const BlockReader&) = delete;
    BlockReader& operator=(const BlockReader&) = delete;

    // What a Read came to.
    enum class State : std::uint8_t {
        kBlock,       // the block is filled
        kNeedsBytes,  // see Wanted; then Read again, with the same block
    };

    // Fills `block`, whatever it held; never called again once a block was the last. Every block
    // brings at least one record (of the file; the options may leave it empty), or so many
    // descriptions of interfaces that they fill it, or is the last. The
    // block before must hold its bytes until this one is filled. Throws std::bad_alloc, after which
    // only Traits and Describe may be called.
    [[nodiscard]] State Read(RecordBlock& block);

    // After kNeedsBytes: where the next bytes of the file go, never empty. Take says what became of
    // it: how many came, 0 at the end of the file, or minus an errno value.
    [[nodiscard]] std::span<std::uint8_t> Wanted(RecordBlock& block);
    void Take(std::ptrdiff_t count);

    // Settled with the first block. IsCapture is false when there was no whole file header: then
    // the first block is the last, and its problem says why.
    [[nodiscard]] bool IsCapture() const { return m_IsCapture; }
    [[nodiscard]] const CaptureTraits& Traits() const { return m_Traits; }

    // A problem at the place reached, with the numbers of records and bytes, for what happens
    // outside, such as exhausted memory.
    [[nodiscard]] Problem Describe(ProblemKind kind, const std::string& reason) const;

 private:
    // Whether a block that was looked at can be given out.
    enum class Progress : std::uint8_t { kBlockDone, kFillOn };

    void Begin(RecordBlock& block);
    // What is there is looked at, although the block is not filled and more can come.
    [[nodiscard]] bool IsToLookAtOnce() const;
    // The first block, of which so much is known that it need not wait for a record.
    [[nodiscard]] bool IsToBeGivenEmpty() const;
    [[nodiscard]] Progress Frame(RecordBlock& block, codec::ByteStream::State state);
    [[nodiscard]] Progress Verify(RecordBlock& block, codec::ByteStream::State state);
    [[nodiscard]] std::optional<Problem> ChooseFramer(const RecordBlock& block);
    [[nodiscard]] bool HasHeader() const { return m_Framer && m_Framer->IsCapture(); }
    void Deliver(RecordBlock& block);
    void Conclude(RecordBlock& block, std::optional<Problem> problem);
    [[nodiscard]] std::optional<Problem> ProblemOfEnd(codec::ByteStream::State state) const;
    [[nodiscard]] std::uint64_t OffsetReached() const;
    [[nodiscard]] Problem DescribeAt(ProblemKind kind, std::uint64_t offset,
                                     const std::string& reason) const;

    Options m_Options;
    codec::ByteStream m_Stream;
    std::unique_ptr<Framer> m_Framer;       // none until the first bytes are there
    std::optional<Problem> m_FramingFault;  // found by it
    CaptureTraits m_Traits;
    bool m_IsCapture = false;
    bool m_HasDelivered = false;

    bool m_IsFilling = false;
    std::size_t m_Filled = 0;              // bytes at the front of the block that is being filled
    std::size_t m_Used = 0;                // of these, those that the framer is done with
    std::size_t m_Seen = 0;                // of these, those that were there when it last looked
    std::uint64_t m_FrontOffset = 0;       // of the block's first byte in the decompressed capture
    std::span<const std::uint8_t> m_Rest;  // what the last block's end has cut
};

}  // namespace velora::capture
