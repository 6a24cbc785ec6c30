// ReadAhead: the blocks of many captures, each read a block ahead of need.
//
// Regular files are read, as far as they reached when they were opened, and everything is
// decompressed and looked at, by a pool of workers; what comes from other processes is waited for
// by one thread, so that any number of stalled pipes keeps nobody else from its bytes. At most one
// task of an input is under way, so its bytes stay in order. The thread that takes the blocks helps
// out where it would have to wait for one that nobody has begun with.
//
// Example:
//     ReadAhead ahead(std::move(files), plan, options, bytesRead);
//     while (const RecordBlock* block = ahead.Take(0)) {
//         Use(*block);
//         ahead.GiveBack(0);
//     }
//
// One thread takes and gives back; any may ask for a stop.

#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <vector>

#include "velora/capture/block_reader.h"
#include "velora/capture/input_file.h"
#include "velora/capture/record_block.h"
#include "velora/input/pipe_pump.h"
#include "velora/input/worker_pool.h"
#include "velora/utils/api.h"

namespace velora::input {

// How much memory many inputs share.
struct VELORA_API BlockPlan {
    std::size_t blocksPerInput = 3;                 // one that is used, the others ahead
    std::size_t blockSize = std::size_t{1} << 20U;  // bytes

    // 64 MiB in three blocks for each input, or two from 1000 inputs on; a block has at most 1 MiB
    // and at least 16 KiB. One that has to grow for a longer record is not read ahead of.
    [[nodiscard]] static BlockPlan For(std::size_t inputs);
};

class VELORA_API ReadAhead {
 public:
    // Begins to read every input. `options.blockSize` is the plan's. `bytesRead` grows by what is
    // read, as it lies on disk, in whatever thread does so. `stop` ends the reading wherever it is,
    // but for a function of the caller's that an input is read by, which is waited for where it is
    // needed. Throws std::system_error when a thread cannot be had, and std::bad_alloc.
    ReadAhead(std::vector<capture::InputFile> inputs, const BlockPlan& plan,
              const capture::BlockReader::Options& options, std::atomic<std::uint64_t>& bytesRead,
              const std::stop_token& stop = {});
    // Ends the reading in the same way, and waits for a function that is being called.
    ~ReadAhead();
    ReadAhead(const ReadAhead&) = delete;
    ReadAhead& operator=(const ReadAhead&) = delete;

    // The next block of the input, in the order of the file, or null behind the last, or since a
    // stop was asked for. Waits for it. It stays until it is given back; at most
    // plan.blocksPerInput are out at once, and one less keeps the reading going.
    [[nodiscard]] capture::RecordBlock* Take(std::size_t input);

    // Gives back the block of the input that was taken first.
    void GiveBack(std::size_t input);

    [[nodiscard]] std::size_t Size() const { return m_Feeds.size(); }  // inputs

    // What happened to the file between its opening and the end of its reading: kChanged, or a
    // note. Known once the last block has been taken; nothing before, and where there is nothing to
    // say.
    [[nodiscard]] std::optional<capture::Problem> Change(std::size_t input);

    // Settled when the first block of the input has been taken; not to be asked before.
    [[nodiscard]] bool IsCapture(std::size_t input) const;
    [[nodiscard]] const capture::CaptureTraits& Traits(std::size_t input) const;

 private:
    class Feed;
    struct Stopper {
        ReadAhead& ahead;
        void operator()() const noexcept { ahead.Stop(); }
    };

    void Stop() noexcept;

    // Shared with the workers: what guards the feeds' counts of blocks, and who waits for which.
    std::mutex m_Mutex;
    std::condition_variable m_HasBlock;
    const Feed* m_Awaited = nullptr;
    std::atomic<bool> m_IsStopped = false;  // set with the mutex held: a waiter must not miss it

    std::atomic<std::uint64_t>& m_BytesRead;
    std::vector<std::unique_ptr<Feed>> m_Feeds;
    std::unique_ptr<PipePump> m_Pump;  // only where an input is no regular file
    // Below all that its threads work on.
    std::unique_ptr<WorkerPool> m_Pool;
    std::stop_callback<Stopper> m_OnStop;
};

}  // namespace velora::input
