#include "velora/utils/disk_space.h"

#include <sys/statvfs.h>

namespace MiscUtils {

std::uint64_t GetDiskFreePercent(const std::string& path) {
    struct statvfs space = {};
    static_cast<void>(statvfs(path.c_str(), &space));
    return FreePercentOfBlocks(space.f_blocks, space.f_bfree, space.f_bavail);
}

bool GetDiskSpace(const std::string& path, std::uint64_t& total, std::uint64_t& available) {
    struct statvfs space = {};
    const bool examined = statvfs(path.c_str(), &space) == 0;
    total = std::uint64_t{space.f_blocks} * space.f_frsize;
    available = std::uint64_t{space.f_bavail} * space.f_frsize;
    return examined;
}

}  // namespace MiscUtils
