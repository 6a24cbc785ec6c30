// BlockWriter: gathers bytes in blocks, which a thread of its own writes to a sink, in order, while
// the owner fills the next. So building the output and the system's copying of it overlap.
//
//     BlockWriter writer(sink);
//     encoder.EncodeHeader(writer.Reserve(), ...);       // for each record
//     if (!writer.Commit(16) || !writer.Append(bytes)) …  // it has failed: see Finish
//     OutputOutcome outcome = writer.Finish();
//
// The sink is borrowed, and is the writer's alone until Finish has returned or the writer is gone.
// A writer belongs to one thread. Its own thread takes no signals; it sleeps while it has nothing
// to write. A writer of a single block has no thread: the owner's writes each block that is full.

#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <memory>
#include <mutex>
#include <span>
#include <thread>
#include <vector>

#include "velora/codec/byte_sink.h"
#include "velora/utils/api.h"
#include "velora/utils/scope_guards.h"

namespace velora::output {

class VELORA_API BlockWriter {
 public:
    // How large blocks are, in bytes, and how many, unless it is said otherwise.
    static constexpr std::size_t kBlockSize = std::size_t{1} << 18;
    static constexpr std::size_t kBlocks = 16;
    static constexpr std::size_t kMostReserved = 64;  // bytes that Reserve gives

    // `blockSize` is at least kMostReserved. The memory of the blocks is not touched before it is
    // filled. Throws std::bad_alloc or std::system_error when the system gives no memory or no
    // thread.
    explicit BlockWriter(codec::ByteSink& sink, std::size_t blockSize = kBlockSize,
                         std::size_t blocks = kBlocks);
    // Without Finish: ends the thread when the write that it is in has returned. What it has not
    // written is discarded, and the sink is not finished.
    ~BlockWriter();
    BlockWriter(const BlockWriter&) = delete;
    BlockWriter& operator=(const BlockWriter&) = delete;

    // Room for kMostReserved bytes that come next, to be built in place. It is good until the next
    // call of any other operation; Commit says how many there are, at most so many.
    [[nodiscard]] std::uint8_t* Reserve() { return m_Next; }

    // Commit and Append are false once a write has failed, which shows when a block is handed over.
    // The bytes are discarded from then on; Finish tells why.
    [[nodiscard]] bool Commit(std::size_t count) {
        m_Next += count;
        return m_Next < m_End || HandOver();
    }

    // Copies any number of bytes.
    [[nodiscard]] bool Append(std::span<const std::uint8_t> bytes) {
        const auto room = static_cast<std::size_t>(m_End - m_Next);  // never 0
        if (bytes.size() - 1 >= room - 1) [[unlikely]] {  // none counts as many: it may be null
            return AppendLong(bytes);
        }
        std::memcpy(m_Next, bytes.data(), bytes.size());
        m_Next += bytes.size();
        return true;
    }

    // Has what there is written and the sink flushed, although the block is not full: for a reader
    // of a pipe that waits. Commit and Append hand over each full block by themselves.
    [[nodiscard]] bool Flush();

    // The first failure that is known so far, or good. Throws what the sink has thrown.
    [[nodiscard]] codec::OutputOutcome Outcome();

    // Has everything written, ends the thread, finishes the sink in the caller's thread and tells
    // the outcome, or that of the first write that failed, and the sink is not finished then.
    // Throws what the sink has thrown. Called once, last.
    [[nodiscard]] codec::OutputOutcome Finish();

 private:
    // With m_Mutex held.
    [[nodiscard]] bool HasThread() const { return m_Blocks.size() > 1; }
    [[nodiscard]] bool IsHalfFree() const { return m_Filled - m_Written <= m_Blocks.size() / 2; }
    bool HandOver();
    bool NextBlock(std::size_t size, bool isToFlush = false);
    void WriteBlock(std::unique_lock<std::mutex>& lock);
    bool AppendLong(std::span<const std::uint8_t> bytes);
    void EndThread(bool isDiscarding);
    void Run();

    codec::ByteSink& m_Sink;
    const std::size_t m_BlockSize;
    std::vector<MiscUtils::UniqueMemory<std::uint8_t>> m_Blocks;
    struct HandedOver {
        std::size_t size = 0;
        bool isToFlush = false;  // the sink, behind it
    };
    std::vector<HandedOver> m_HandedOver;  // what is so of each block

    // The owner's place in its block. Behind m_End there is room for what was reserved before it.
    std::uint8_t* m_Next;
    std::uint8_t* m_End;

    std::mutex m_Mutex;  // of what follows
    std::condition_variable m_HasChanged;
    std::uint64_t m_Filled = 0;   // blocks handed over; the owner fills block m_Filled % count
    std::uint64_t m_Written = 0;  // blocks of these that are done with
    bool m_IsEnding = false;
    bool m_IsDiscarding = false;
    codec::OutputOutcome m_Outcome;  // of the writes
    std::exception_ptr m_Thrown;     // by a write, which counts as failed

    std::thread m_Thread;  // last: it uses all of the above
};

}  // namespace velora::output
