#include "app/input_list.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>

#include <fcntl.h>
#include <unistd.h>

#include "velora/capture/input_file.h"
#include "velora/utils/errno_text.h"
#include "velora/utils/scope_guards.h"

namespace {

constexpr std::size_t kMostBytes = std::size_t{64} << 20;

}  // namespace

std::vector<std::string> PathsIn(const std::string& bytes) {
    const char separator = bytes.find('\0') != std::string::npos ? '\0' : '\n';
    std::vector<std::string> paths;
    for (std::size_t start = bytes.find_first_not_of(separator); start != std::string::npos;) {
        const std::size_t end = std::min(bytes.find(separator, start), bytes.size());
        paths.push_back(bytes.substr(start, end - start));
        start = bytes.find_first_not_of(separator, end);
    }
    return paths;
}

std::variant<std::vector<std::string>, ListFault> ReadInputList(const std::string& path) {
    const MiscUtils::UniqueFd fd(path == "-"
                                     ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)
                                     : open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    std::string bytes;
    std::array<std::uint8_t, 65536> part{};
    ssize_t count = fd ? 1 : -errno;
    while (count > 0 && bytes.size() <= kMostBytes) {
        count = velora::capture::ReadSome(fd.Get(), part);
        bytes.append(part.begin(), part.begin() + std::max<ssize_t>(count, 0));
    }
    if (count < 0) {
        return ListFault{"cannot be read: " + MiscUtils::ErrnoText(static_cast<int>(-count)).text};
    }
    if (bytes.size() > kMostBytes) {
        return ListFault{"is longer than 64 MiB"};
    }
    std::vector<std::string> paths = PathsIn(bytes);
    if (paths.empty()) {
        return ListFault{"names no input"};
    }
    return paths;
}
