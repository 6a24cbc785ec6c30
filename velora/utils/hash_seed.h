// A seed for hash tables over what comes from outside.

#pragma once

#include <cstdint>

#include "velora/utils/api.h"

namespace velora::utils {

// The same throughout the process, and another in each: nobody can prepare data whose hashes
// collide. Any thread.
[[nodiscard]] VELORA_API std::uint64_t HashSeed();

}  // namespace velora::utils
