// The space of the file system that a path lies on (statvfs(3)). "Available" is what a process
// without privileges may still write; the blocks reserved for root are not in it.
//
// No shared state: any thread may ask.

#pragma once

#include <cstdint>
#include <string>

#include "velora/utils/api.h"

namespace MiscUtils {

// What is available of the space that unprivileged processes can use at all, in whole percent,
// rounded down: 0 to 100. 0 as well for a file system without space of its own (such as /proc) and
// for a path that cannot be examined.
[[nodiscard]] VELORA_API std::uint64_t GetDiskFreePercent(const std::string& path);

// The size of the file system and its available space, in bytes. False when the path cannot be
// examined, with errno of statvfs(); both numbers are 0 then.
VELORA_API bool GetDiskSpace(const std::string& path, std::uint64_t& total,
                             std::uint64_t& available);

// The arithmetic of GetDiskFreePercent, on counts of blocks.
[[nodiscard]] constexpr std::uint64_t FreePercentOfBlocks(std::uint64_t all, std::uint64_t free,
                                                          std::uint64_t available) {
    const std::uint64_t usable = all - free + available;
    return usable == 0 ? 0 : available * 100 / usable;
}

}  // namespace MiscUtils
