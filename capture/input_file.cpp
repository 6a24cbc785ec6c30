#include "capture/input_file.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "utils/errno_text.h"

namespace velora::capture {
namespace {

using Outcome = std::variant<InputFile, Problem>;

Problem CannotOpen(int error) {
    errno = error;
    return {ProblemKind::kCannotRead, "cannot be opened: " + MiscUtils::ErrnoText(error).text, 0,
            0};
}

Problem NotRead(const char* what) {
    errno = 0;
    return {ProblemKind::kCannotRead, std::string("is ") + what, 0, 0};
}

Outcome Accept(MiscUtils::UniqueFd fd) {
    struct stat status {};
    if (fstat(fd.Get(), &status) != 0) {
        return CannotOpen(errno);
    }
    switch (status.st_mode & S_IFMT) {
        case S_IFREG: {
            // A hint for files that are not in memory yet; a refusal changes nothing.
            static_cast<void>(posix_fadvise(fd.Get(), 0, 0, POSIX_FADV_SEQUENTIAL));
            return InputFile{std::move(fd), true, static_cast<std::uint64_t>(status.st_size)};
        }
        case S_IFDIR:
            return NotRead("a directory");
        case S_IFBLK:
            return NotRead("a block device");
        default:
            return InputFile{std::move(fd), false, 0};
    }
}

}  // namespace

Outcome OpenInputFile(const std::string& path) {
    // Looked at first, since opening some devices does something.
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        return CannotOpen(errno);
    }
    if (S_ISDIR(status.st_mode)) {
        return NotRead("a directory");
    }
    MiscUtils::UniqueFd fd(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    if (!fd) {
        return CannotOpen(errno);
    }
    return Accept(std::move(fd));
}

Outcome OpenStandardInput() {
    MiscUtils::UniqueFd fd(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    if (!fd) {
        return CannotOpen(errno);
    }
    return Accept(std::move(fd));
}

ssize_t ReadSome(int fd, std::uint8_t* place, std::size_t size) {
    for (;;) {
        const ssize_t count = read(fd, place, size);
        if (count >= 0) {
            return count;
        }
        if (errno != EINTR) {
            return -errno;
        }
    }
}

}  // namespace velora::capture
