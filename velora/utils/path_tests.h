// Questions about one path, answered from its stat(2) record.
//
// All follow symbolic links, except IsSymlink. None fails: a path that cannot be examined (missing,
// a dangling link, a folder on the way that may not be searched) is answered like a file record of
// all zeros, that is, of no type, of size 0, changed at time 0. errno is then the failed call's.
//
// An answer is true of one moment only; a caller who goes on to open the path still has to look
// whether that worked. No shared state: any thread may ask.

#pragma once

#include <cstdint>
#include <string>

#include "velora/utils/api.h"

namespace MiscUtils {

// The type of what the path, its links followed, leads to.
[[nodiscard]] VELORA_API bool IsRegularFile(const std::string& path);
[[nodiscard]] VELORA_API bool IsDirectory(const std::string& path);
[[nodiscard]] VELORA_API bool IsSocket(const std::string& path);

// True when the path itself is a symbolic link, dangling or not (lstat(2)).
[[nodiscard]] VELORA_API bool IsSymlink(const std::string& path);

// True for a regular file of size 0; false for anything else, a missing file included.
[[nodiscard]] VELORA_API bool IsEmptyFile(const std::string& path);

// The size of a regular file in bytes; kNoFileSize (all ones) for anything else.
inline constexpr std::uint64_t kNoFileSize = ~std::uint64_t{0};
[[nodiscard]] VELORA_API std::uint64_t GetFileSize(const std::string& path);

// The times of the last change of the contents, and of the last change of the status (owner, mode,
// links, contents), in seconds since 1970 UTC, for every type of file. The seconds are cut to their
// low 32 bits: from 2038-01-19 on they come out negative.
[[nodiscard]] VELORA_API std::int32_t GetModifyTime(const std::string& path);
[[nodiscard]] VELORA_API std::int32_t GetChangeTime(const std::string& path);

}  // namespace MiscUtils
