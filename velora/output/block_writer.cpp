#include "velora/output/block_writer.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <utility>

namespace velora::output {

namespace {

constexpr std::size_t kPageSize = 4096;

std::uint8_t* AllocateBlock(std::size_t size) {
    const std::size_t whole = (size + kPageSize - 1) / kPageSize * kPageSize;
    void* const block = std::aligned_alloc(kPageSize, whole);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return static_cast<std::uint8_t*>(block);
}

}  // namespace

BlockWriter::BlockWriter(codec::ByteSink& sink, std::size_t blockSize, std::size_t blocks)
    : m_Sink(sink), m_BlockSize(blockSize), m_HandedOver(blocks) {
    for (std::size_t count = 0; count < blocks; ++count) {
        m_Blocks.emplace_back(AllocateBlock(blockSize + kMostReserved));
    }
    m_Next = m_Blocks.front().get();
    m_End = m_Next + m_BlockSize;
    if (HasThread()) {
        const MiscUtils::ScopedSignalBlock noSignals;
        m_Thread = std::thread(&BlockWriter::Run, this);
    }
}

BlockWriter::~BlockWriter() {
    EndThread(true);
}

// The block is full, or over-full by what was reserved: that begins the next one.
bool BlockWriter::HandOver() {
    const std::uint8_t* const surplus = m_End;
    const auto surplusSize = static_cast<std::size_t>(m_Next - m_End);
    const bool isGood = NextBlock(m_BlockSize);
    // It is still there, and apart: its block is filled again from the front, and later than now.
    std::memcpy(m_Next, surplus, surplusSize);
    m_Next += surplusSize;
    return isGood;
}

bool BlockWriter::Flush() {
    return NextBlock(m_BlockSize - static_cast<std::size_t>(m_End - m_Next), true);
}

codec::OutputOutcome BlockWriter::Outcome() {
    const std::lock_guard lock(m_Mutex);
    if (m_Thrown) {
        std::rethrow_exception(m_Thrown);
    }
    return m_Outcome;
}

bool BlockWriter::NextBlock(std::size_t size, bool isToFlush) {
    std::unique_lock lock(m_Mutex);
    m_HandedOver[m_Filled % m_Blocks.size()] = {size, isToFlush};
    m_Filled += 1;
    m_HasChanged.notify_one();
    if (!HasThread()) {
        WriteBlock(lock);
    } else if (m_Filled - m_Written == m_Blocks.size()) {
        // Not for a single block: handing over one by one, two threads take turns on one processor.
        m_HasChanged.wait(lock, [&] { return IsHalfFree(); });
    }
    m_Next = m_Blocks[m_Filled % m_Blocks.size()].get();
    m_End = m_Next + m_BlockSize;
    return m_Outcome.IsGood();
}

bool BlockWriter::AppendLong(std::span<const std::uint8_t> bytes) {
    bool isGood = true;
    while (!bytes.empty()) {
        const auto count = std::min(bytes.size(), static_cast<std::size_t>(m_End - m_Next));
        std::memcpy(m_Next, bytes.data(), count);
        bytes = bytes.subspan(count);
        isGood = Commit(count) && isGood;
    }
    return isGood;
}

codec::OutputOutcome BlockWriter::Finish() {
    static_cast<void>(NextBlock(m_BlockSize - static_cast<std::size_t>(m_End - m_Next)));
    EndThread(false);
    codec::OutputOutcome outcome = Outcome();
    return outcome.IsGood() ? m_Sink.Finish() : outcome;
}

void BlockWriter::EndThread(bool isDiscarding) {
    {
        const std::lock_guard lock(m_Mutex);
        m_IsEnding = true;
        m_IsDiscarding = isDiscarding;
    }
    m_HasChanged.notify_one();
    if (m_Thread.joinable()) {
        m_Thread.join();
    }
}

// The one behind those that are done with; the lock is given up meanwhile.
void BlockWriter::WriteBlock(std::unique_lock<std::mutex>& lock) {
    const std::size_t at = m_Written % m_Blocks.size();
    const auto [size, isToFlush] = m_HandedOver[at];
    if (m_Outcome.IsGood() && (size > 0 || isToFlush)) {
        lock.unlock();
        codec::OutputOutcome outcome;
        std::exception_ptr thrown;
        try {
            if (size > 0) {
                outcome = m_Sink.Write({m_Blocks[at].get(), size});
            }
            if (outcome.IsGood() && isToFlush) {
                outcome = m_Sink.Flush();
            }
        } catch (...) {
            thrown = std::current_exception();
            outcome.kind = codec::OutputOutcome::Kind::kCannot;
        }
        lock.lock();
        m_Outcome = std::move(outcome);
        m_Thrown = std::move(thrown);
    }
    m_Written += 1;
}

void BlockWriter::Run() {
    std::unique_lock lock(m_Mutex);
    for (;;) {
        m_HasChanged.wait(lock, [&] { return m_Written < m_Filled || m_IsEnding; });
        if (m_IsDiscarding || m_Written == m_Filled) {
            return;
        }
        WriteBlock(lock);
        if (IsHalfFree()) {
            m_HasChanged.notify_one();
        }
    }
}

}  // namespace velora::output
