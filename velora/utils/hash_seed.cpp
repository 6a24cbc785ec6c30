#include "velora/utils/hash_seed.h"

#include <chrono>

#include <sys/random.h>

namespace velora::utils {

std::uint64_t HashSeed() {
    static const std::uint64_t seed = [] {
        std::uint64_t random = 0;
        if (getrandom(&random, sizeof random, 0) != static_cast<ssize_t>(sizeof random)) {
            // Where the system has none: harder to guess than a constant.
            random = static_cast<std::uint64_t>(
                std::chrono::steady_clock::now().time_since_epoch().count());
        }
        return random;
    }();
    return seed;
}

}  // namespace velora::utils
