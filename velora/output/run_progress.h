// RunProgress: how far a run is, for whoever shows it from another thread.

#pragma once

#include <atomic>
#include <cstdint>

namespace velora::output {

struct RunProgress {
    std::atomic<std::uint64_t> bytesRead = 0;   // of all inputs, as they lie on disk
    std::atomic<std::uint64_t> bytesInAll = 0;  // 0 while unknown, or where it cannot be known
    std::atomic<std::uint64_t> records = 0;     // written
};

}  // namespace velora::output
