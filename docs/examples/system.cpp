// The space left, and an owner for a descriptor.
#include <cerrno>
#include <cstdint>
#include <iostream>

#include <fcntl.h>
#include <velora/utils/disk_space.h>
#include <velora/utils/errno_text.h>
#include <velora/utils/host_name.h>
#include <velora/utils/scope_guards.h>

int main() {
    std::uint64_t total = 0;
    std::uint64_t available = 0;
    if (!MiscUtils::GetDiskSpace(".", total, available)) {
        throw MiscUtils::ErrnoError(errno, "GetDiskSpace");
    }
    std::cout << "available <= total: " << (available <= total) << "\n"
              << "host has a name: " << !MiscUtils::HostName().empty() << "\n";

    const MiscUtils::UniqueFd file(open("missing", O_RDONLY));
    if (!file) {
        std::cout << MiscUtils::ErrnoError(errno, "open()").what() << "\n";
    }
}
