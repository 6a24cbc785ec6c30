#include "velora/utils/path_tests.h"

#include <sys/stat.h>

namespace MiscUtils {
namespace {

// The result of stat() is passed over on purpose: a failed call leaves the record as it was, zeros.
struct stat StatOf(const std::string& path) {
    struct stat record = {};
    static_cast<void>(stat(path.c_str(), &record));
    return record;
}

}  // namespace

bool IsRegularFile(const std::string& path) {
    return S_ISREG(StatOf(path).st_mode);
}

bool IsDirectory(const std::string& path) {
    return S_ISDIR(StatOf(path).st_mode);
}

bool IsSocket(const std::string& path) {
    return S_ISSOCK(StatOf(path).st_mode);
}

bool IsSymlink(const std::string& path) {
    struct stat record = {};
    static_cast<void>(lstat(path.c_str(), &record));
    return S_ISLNK(record.st_mode);
}

bool IsEmptyFile(const std::string& path) {
    const struct stat record = StatOf(path);
    return S_ISREG(record.st_mode) && record.st_size == 0;
}

std::uint64_t GetFileSize(const std::string& path) {
    const struct stat record = StatOf(path);
    return S_ISREG(record.st_mode) ? static_cast<std::uint64_t>(record.st_size) : kNoFileSize;
}

std::int32_t GetModifyTime(const std::string& path) {
    return static_cast<std::int32_t>(StatOf(path).st_mtim.tv_sec);
}

std::int32_t GetChangeTime(const std::string& path) {
    return static_cast<std::int32_t>(StatOf(path).st_ctim.tv_sec);
}

}  // namespace MiscUtils
