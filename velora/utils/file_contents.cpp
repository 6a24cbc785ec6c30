#include "velora/utils/file_contents.h"

#include <array>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "velora/utils/errno_text.h"
#include "velora/utils/path_tests.h"
#include "velora/utils/scope_guards.h"

namespace MiscUtils {
namespace {

constexpr std::size_t kBlockSize = 4096;
using Block = std::array<char, kBlockSize>;

UniqueFd Create(const std::string& path) {
    const ScopedUmask newFileMask(011);
    return UniqueFd(creat(path.c_str(), 0644));
}

bool CopyToEnd(const UniqueFd& source, const UniqueFd& target) {
    Block block;
    ssize_t got = 0;
    while ((got = read(source.Get(), block.data(), block.size())) > 0) {
        if (write(target.Get(), block.data(), static_cast<std::size_t>(got)) < 0) {
            return false;
        }
    }
    return got == 0;
}

bool AreOneFile(const UniqueFd& first, const UniqueFd& second) {
    struct stat a = {};
    struct stat b = {};
    return fstat(first.Get(), &a) == 0 && fstat(second.Get(), &b) == 0 && a.st_dev == b.st_dev &&
           a.st_ino == b.st_ino;
}

bool WriteOnce(const UniqueFd& file, const std::string& text) {
    return file && write(file.Get(), text.data(), text.size()) >= 0;
}

}  // namespace

bool CopyFileContents(const std::string& source, const std::string& target) {
    const UniqueFd in(open(source.c_str(), O_RDONLY));
    if (!in) {
        return false;
    }
    const UniqueFd out = Create(target);
    return out && CopyToEnd(in, out);
}

bool AppendFileContents(const std::string& source, const std::string& target) {
    if (!IsRegularFile(target)) {
        return CopyFileContents(source, target);
    }
    const UniqueFd in(open(source.c_str(), O_RDONLY));
    if (!in) {
        return false;
    }
    const UniqueFd out(open(target.c_str(), O_RDWR | O_APPEND));
    if (!out) {
        return false;
    }
    if (AreOneFile(in, out)) {
        errno = EINVAL;
        return false;
    }
    return CopyToEnd(in, out);
}

bool WriteStringToFile(const std::string& text, const std::string& path) {
    return WriteOnce(
        IsRegularFile(path) ? UniqueFd(open(path.c_str(), O_RDWR | O_APPEND)) : Create(path), text);
}

bool WriteStringAt(const std::string& text, const std::string& path, off_t offset) {
    if (!IsRegularFile(path)) {
        return WriteOnce(Create(path), text);
    }
    const UniqueFd file(open(path.c_str(), O_WRONLY));
    static_cast<void>(lseek(file.Get(), offset, SEEK_SET));
    return WriteOnce(file, text);
}

std::string ReadWholeFile(const std::string& path) {
    const UniqueFd file(open(path.c_str(), O_RDONLY));
    if (!file) {
        throw ErrnoError(errno, path);
    }
    std::string contents;
    Block block;
    ssize_t got = 0;
    while ((got = read(file.Get(), block.data(), block.size())) != 0) {
        if (got > 0) {
            contents.append(block.data(), static_cast<std::size_t>(got));
        } else if (errno != EINTR) {
            throw ErrnoError(errno, path);
        }
    }
    return contents;
}

}  // namespace MiscUtils
