// A seed for hash tables over what comes from outside.

#pragma once

#include <cstdint>

namespace velora::utils {

// The same throughout the process, and another in each: nobody can prepare data whose hashes
// collide. Any thread.
[[nodiscard]] std::uint64_t HashSeed();

}  // namespace velora::utils
