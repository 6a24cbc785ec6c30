#include "velora/input/read_ahead.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <thread>
#include <utility>

#include <sys/uio.h>

namespace velora::input {
namespace {

constexpr std::size_t kManyInputs = 1000;
constexpr std::size_t kMemory = std::size_t{64} << 20U;
constexpr std::size_t kLargestBlock = std::size_t{1} << 20U;
constexpr std::size_t kSmallestBlock = std::size_t{16} << 10U;
// At once, so that a stop is not kept waiting by a block that has grown.
constexpr std::size_t kMostRead = kLargestBlock;

// Reads what is there, though another process that shares the description may have been quicker.
ssize_t ReadWithoutWaiting(int fd, std::span<std::uint8_t> place) {
    iovec part{place.data(), place.size()};
    const ssize_t count = preadv2(fd, &part, 1, -1, RWF_NOWAIT);
    if (count >= 0 || errno == EAGAIN) {
        return count >= 0 ? count : -EAGAIN;
    }
    return capture::ReadSome(fd, place);  // it knows of no such reading
}

// At most one task of an input is under way.
std::size_t ThreadsFor(std::size_t inputs) {
    const std::size_t cores = std::max(1U, std::thread::hardware_concurrency());
    return std::clamp<std::size_t>(inputs, 1, cores);
}

}  // namespace

BlockPlan BlockPlan::For(std::size_t inputs) {
    BlockPlan plan;
    plan.blocksPerInput = inputs < kManyInputs ? 3 : 2;
    plan.blockSize = std::clamp(kMemory / (std::max<std::size_t>(inputs, 1) * plan.blocksPerInput),
                                kSmallestBlock, kLargestBlock);
    return plan;
}

// One input: its descriptor, its reader, its blocks in a ring. The blocks that are taken come
// first, then those that are filled, then the one that is being filled, then free ones.
class ReadAhead::Feed final : public WorkerPool::Task, public PipePump::Waiter {
 public:
    Feed(ReadAhead& owner, capture::InputFile file, const BlockPlan& plan,
         const capture::BlockReader::Options& options)
        : m_Owner(owner),
          m_File(std::move(file)),
          m_Reader(options),
          m_Left(m_File.size),
          m_BlockSize(plan.blockSize),
          m_Blocks(plan.blocksPerInput) {}

    void Run() override {
        try {
            Fill();
        } catch (const std::bad_alloc&) {
            m_IsExhausted = true;
            Finish();
        }
    }

    bool Readable() override {
        const ssize_t count = ReadWithoutWaiting(m_File.fd.Get(), m_Wanted);
        if (count == -EAGAIN) {
            return false;
        }
        Took(count);
        m_Owner.m_Pool->Submit(*this);
        return true;
    }

    const capture::BlockReader& Reader() const { return m_Reader; }

    // The rest is called by the owner's thread.

    capture::RecordBlock* Take() {
        std::unique_lock lock(m_Owner.m_Mutex);
        if (m_Filled == 0 && !m_IsOver && !m_Owner.m_IsStopped) {
            if (!m_IsUnderWay) {
                m_IsUnderWay = true;
                m_Owner.m_Pool->Submit(*this);
            }
            if (!m_File.IsToBeAwaited()) {
                lock.unlock();
                m_Owner.m_Pool->RunNow(*this);
                lock.lock();
            }
            m_Owner.m_Awaited = this;
            m_Owner.m_HasBlock.wait(
                lock, [this] { return m_Filled > 0 || m_IsOver || m_Owner.m_IsStopped; });
            m_Owner.m_Awaited = nullptr;
        }
        if (m_Filled == 0 || m_Owner.m_IsStopped) {
            return nullptr;
        }
        capture::RecordBlock& block = Nth(m_Taken);
        m_Filled -= 1;
        m_Taken += 1;
        if (m_IsOver && m_IsExhausted && m_Filled == 0) {
            block.problem =
                m_Reader.Describe(capture::ProblemKind::kCannotRead, "memory is exhausted");
        }
        return &block;
    }

    std::optional<capture::Problem> Change() {
        const std::lock_guard lock(m_Owner.m_Mutex);
        return m_Filled == 0 && m_IsOver ? m_Change.AsProblem() : std::nullopt;
    }

    void GiveBack() {
        bool isNeeded = false;
        {
            const std::lock_guard lock(m_Owner.m_Mutex);
            // The reader still wants the one that was filled last.
            const bool isLastFilled = m_Taken + m_Filled == 1;
            if (m_IsOver || (IsLong(Nth(0)) && !isLastFilled)) {
                Nth(0).Clear(0);
            }
            m_First = (m_First + 1) % m_Blocks.size();
            m_Taken -= 1;
            isNeeded = !m_IsUnderWay && IsToGoOn();
            m_IsUnderWay |= isNeeded;
        }
        if (isNeeded) {
            m_Owner.m_Pool->Submit(*this);
        }
    }

 private:
    // Nobody else touches the block that is being filled, nor the reader. After a stop the block
    // stays unfinished, and the task under way for ever.
    void Fill() {
        capture::RecordBlock& block = Filling();
        while (m_Reader.Read(block) == capture::BlockReader::State::kNeedsBytes) {
            if (m_Owner.m_IsStopped) {
                return;
            }
            m_Wanted = m_Reader.Wanted(block);
            m_Wanted = m_Wanted.first(std::min(m_Wanted.size(), kMostRead));
            if (m_File.IsToBeAwaited()) {
                m_Owner.m_Pump->Await(m_File.fd.Get(), *this);
                return;
            }
            Took(ReadOnDisk());
        }
        if (!m_Owner.m_IsStopped) {
            Finish();
        }
    }

    // What is written behind the end that the file had is not looked at: it may grow for ever. Of
    // some files (those of /proc) the system says that they are empty.
    ssize_t ReadOnDisk() {
        if (m_File.size == 0) {
            return m_File.Read(m_Wanted);
        }
        const std::size_t most = std::min<std::uint64_t>(m_Wanted.size(), m_Left);
        if (most == 0) {
            return 0;
        }
        const ssize_t count = m_File.Read(m_Wanted.first(most));
        m_IsCutShort = count == 0;
        m_Left -= static_cast<std::uint64_t>(std::max<ssize_t>(count, 0));
        return count;
    }

    void Took(ssize_t count) {
        if (count > 0) {
            m_Owner.m_BytesRead.fetch_add(static_cast<std::uint64_t>(count),
                                          std::memory_order_relaxed);
        }
        m_Reader.Take(count);
    }

    capture::RecordBlock& Filling() {
        const std::lock_guard lock(m_Owner.m_Mutex);
        return Nth(m_Taken + m_Filled);
    }

    // The block is filled; goes on with the next where one is free.
    void Finish() {
        bool isAwaited = false;
        bool isNeeded = false;
        {
            const std::lock_guard lock(m_Owner.m_Mutex);
            capture::RecordBlock& block = Nth(m_Taken + m_Filled);
            block.isLast |= m_IsExhausted;
            m_IsOver = block.isLast;
            if (m_IsOver) {
                m_Change = m_File.isRegular ? capture::ChangeOf(m_File, m_IsCutShort)
                                            : capture::FileChange{};
                m_File.fd.Reset();
            }
            m_Filled += 1;
            // One that was given back while the reader still wanted it.
            for (std::size_t free = m_Taken + m_Filled; free < m_Blocks.size(); ++free) {
                if (capture::RecordBlock& unused = Nth(free); IsLong(unused)) {
                    unused.Clear(0);
                }
            }
            isNeeded = IsToGoOn();
            m_IsUnderWay = isNeeded;
            isAwaited = m_Owner.m_Awaited == this;
        }
        if (isNeeded) {
            m_Owner.m_Pool->Submit(*this);
        }
        if (isAwaited) {
            m_Owner.m_HasBlock.notify_one();
        }
    }

    // The rest with the owner's mutex held.
    capture::RecordBlock& Nth(std::size_t number) {
        return m_Blocks[(m_First + number) % m_Blocks.size()];
    }

    // It has grown for a long record.
    bool IsLong(const capture::RecordBlock& block) const {
        return block.Bytes().size() > m_BlockSize;
    }

    // Ahead of need, that is. Not beside a block with a long record: the next may be as long.
    bool IsToGoOn() {
        const std::size_t held = m_Taken + m_Filled;
        bool isToGoOn = !m_IsOver && held < m_Blocks.size();
        for (std::size_t number = 0; number < held; ++number) {
            isToGoOn &= !IsLong(Nth(number));
        }
        return isToGoOn;
    }

    ReadAhead& m_Owner;
    capture::InputFile m_File;
    capture::BlockReader m_Reader;
    std::span<std::uint8_t> m_Wanted;
    bool m_IsExhausted = false;
    std::uint64_t m_Left;       // of a regular file: bytes that it had and that were not read
    bool m_IsCutShort = false;  // it ended before them
    const std::size_t m_BlockSize;

    // Guarded by the owner's mutex.
    std::vector<capture::RecordBlock> m_Blocks;
    std::size_t m_First = 0;  // in the ring
    std::size_t m_Taken = 0;
    std::size_t m_Filled = 0;
    bool m_IsUnderWay = true;      // a task is queued, running or waiting
    bool m_IsOver = false;         // the last block is filled
    capture::FileChange m_Change;  // known then
};

ReadAhead::ReadAhead(std::vector<capture::InputFile> inputs, const BlockPlan& plan,
                     const capture::BlockReader::Options& options,
                     std::atomic<std::uint64_t>& bytesRead, const std::stop_token& stop)
    : m_BytesRead(bytesRead),
      m_Pool(std::make_unique<WorkerPool>(ThreadsFor(inputs.size()))),
      m_OnStop(stop, Stopper{*this}) {
    capture::BlockReader::Options planned = options;
    planned.blockSize = plan.blockSize;
    planned.isUnwanted = &m_IsStopped;
    std::size_t pipes = 0;
    m_Feeds.reserve(inputs.size());
    for (capture::InputFile& input : inputs) {
        pipes += input.IsToBeAwaited() ? 1U : 0U;
        m_Feeds.push_back(std::make_unique<Feed>(*this, std::move(input), plan, planned));
    }
    if (pipes > 0) {
        m_Pump = std::make_unique<PipePump>(pipes);
    }
    for (const auto& feed : m_Feeds) {
        m_Pool->Submit(*feed);
    }
}

ReadAhead::~ReadAhead() {
    Stop();
    // A task hands its input over to the pump, and a waiter hands it in to the pool: so the pool's
    // threads end first, and the pool itself last.
    m_Pool->Stop();
    m_Pump.reset();
}

void ReadAhead::Stop() noexcept {
    {
        const std::lock_guard lock(m_Mutex);
        m_IsStopped = true;
    }
    m_HasBlock.notify_all();
}

capture::RecordBlock* ReadAhead::Take(std::size_t input) {
    return m_Feeds[input]->Take();
}

void ReadAhead::GiveBack(std::size_t input) {
    m_Feeds[input]->GiveBack();
}

std::optional<capture::Problem> ReadAhead::Change(std::size_t input) {
    return m_Feeds[input]->Change();
}

bool ReadAhead::IsCapture(std::size_t input) const {
    return m_Feeds[input]->Reader().IsCapture();
}

const capture::CaptureTraits& ReadAhead::Traits(std::size_t input) const {
    return m_Feeds[input]->Reader().Traits();
}

}  // namespace velora::input
