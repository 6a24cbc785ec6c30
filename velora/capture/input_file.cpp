#include "velora/capture/input_file.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "velora/utils/errno_text.h"
#include "velora/utils/plain_words.h"

namespace velora::capture {
namespace {

using Outcome = std::variant<InputFile, Problem>;

Problem CannotOpen(int error) {
    return {ProblemKind::kCannotRead,
            "cannot be opened: " + MiscUtils::ErrnoText(error).text,
            0,
            0,
            codec::Refusal::kNone,
            error};
}

// Nothing for a kind of file that may give a capture.
std::optional<Problem> FaultOfKind(mode_t mode) {
    if (S_ISDIR(mode) || S_ISBLK(mode)) {
        return Problem{ProblemKind::kCannotRead,
                       S_ISDIR(mode) ? "is a directory" : "is a block device", 0, 0};
    }
    return std::nullopt;
}

Outcome Accept(MiscUtils::UniqueFd fd) {
    struct stat status {};
    if (fstat(fd.Get(), &status) != 0) {
        return CannotOpen(errno);
    }
    if (std::optional<Problem> fault = FaultOfKind(status.st_mode)) {
        return std::move(*fault);
    }
    InputFile file{.fd = std::move(fd)};
    if (S_ISREG(status.st_mode)) {
        // A hint for files that are not in memory yet; a refusal changes nothing.
        static_cast<void>(posix_fadvise(file.fd.Get(), 0, 0, POSIX_FADV_SEQUENTIAL));
        const off_t begin = std::clamp<off_t>(lseek(file.fd.Get(), 0, SEEK_CUR), 0, status.st_size);
        file.isRegular = true;
        file.begin = static_cast<std::uint64_t>(begin);
        file.size = static_cast<std::uint64_t>(status.st_size - begin);
        file.modified = status.st_mtim;
    }
    return file;
}

Outcome OpenPath(const std::string& path) {
    // Looked at first: opening a block device may do something, such as closing a drive's door.
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        return CannotOpen(errno);
    }
    if (std::optional<Problem> fault = FaultOfKind(status.st_mode)) {
        return std::move(*fault);
    }
    MiscUtils::UniqueFd fd(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    if (!fd) {
        return CannotOpen(errno);
    }
    return Accept(std::move(fd));
}

Outcome OpenDescriptor(int descriptor) {
    MiscUtils::UniqueFd fd(fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    if (!fd) {
        return CannotOpen(errno);
    }
    return Accept(std::move(fd));
}

ByteSource::ReadFunction ReaderOf(std::span<const std::uint8_t> memory) {
    return [left = memory](std::span<std::uint8_t> room) mutable {
        const std::span<const std::uint8_t> now = left.first(std::min(left.size(), room.size()));
        std::ranges::copy(now, room.begin());
        left = left.subspan(now.size());
        return static_cast<std::ptrdiff_t>(now.size());
    };
}

}  // namespace

Outcome OpenInput(const ByteSource& source) {
    if (const auto* const path = std::get_if<std::string>(&source.m_What)) {
        return OpenPath(*path);
    }
    if (const auto* const descriptor = std::get_if<int>(&source.m_What)) {
        return OpenDescriptor(*descriptor);
    }
    if (const auto* const memory = std::get_if<std::span<const std::uint8_t>>(&source.m_What)) {
        return InputFile{.fd = {}, .read = ReaderOf(*memory)};
    }
    return InputFile{.fd = {}, .read = std::get<ByteSource::ReadFunction>(source.m_What)};
}

ssize_t InputFile::Read(std::span<std::uint8_t> place) const {
    if (!read) {
        return ReadSome(fd.Get(), place);
    }
    try {
        const std::ptrdiff_t count = read(place);
        return count <= static_cast<std::ptrdiff_t>(place.size()) ? count : -EIO;
    } catch (...) {
        return -EIO;
    }
}

std::optional<Problem> FileChange::AsProblem() const {
    if (isOther) {
        return Problem{ProblemKind::kChanged, "it changed during the run"};
    }
    if (lateBytes > 0) {
        return Problem{
            ProblemKind::kNote,
            "it grew during the run: " + utils::CountText(lateBytes, "byte") + " came too late"};
    }
    return std::nullopt;
}

FileChange ChangeOf(const InputFile& file, bool isCutShort) noexcept {
    struct stat status {};
    if (isCutShort || fstat(file.fd.Get(), &status) != 0) {
        return {true};
    }
    const auto size = static_cast<std::uint64_t>(status.st_size);
    const std::uint64_t before = file.begin + file.size;
    if (size > before) {
        return {false, file.size > 0 ? size - before : 0};
    }
    return {size != before || status.st_mtim.tv_sec != file.modified.tv_sec ||
            status.st_mtim.tv_nsec != file.modified.tv_nsec};
}

ssize_t ReadSome(int fd, std::span<std::uint8_t> place) {
    for (;;) {
        const ssize_t count = ::read(fd, place.data(), place.size());
        if (count >= 0) {
            return count;
        }
        if (errno != EINTR) {
            return -errno;
        }
    }
}

}  // namespace velora::capture
