// Finding, copying and reading ranges of bytes in open stdio streams.
//
// Offsets count from the start of the stream. A range is [from, to): it ends before `to`; `to` 0
// stands for the end of the stream, and a range that ends at or before its start is empty. The
// streams stay the caller's, open, and positioned behind what was read (for an empty range: at
// `from`). They have to be seekable: in a pipe nothing is found and nothing copied.

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "velora/utils/api.h"

namespace MiscUtils {

// Searches from the stream's position on for `length` bytes equal to those at `needle`. Gives the
// offset of the first match and leaves the stream there; gives 0 and leaves the stream behind what
// it has read when there is none. A match at offset 0 gives 0 too: the stream's position then tells
// the two apart.
//
// The search reads blocks of 4096 bytes, so a longer needle is never found. An empty one is found
// at once where the stream stands. In a stream without positions, such as a pipe, none is found.
[[nodiscard]] VELORA_API std::uint64_t FindInStream(std::FILE* stream, const void* needle,
                                                    std::size_t length);

// Copies a range of `in` to the position of `out`. Always true: when `in` ends early, or cannot be
// moved to `from`, less or nothing is copied, and whether `out` took it all is to be asked of `out`
// (ferror(3)).
VELORA_API bool CopyStreamRange(std::FILE* in, std::FILE* out, std::uint64_t from,
                                std::uint64_t to);

// Reads a range into `buffer`, which holds `capacity` bytes. False, with nothing read, when the
// range is longer than that; true otherwise, also when the stream ended early: the rest of the
// buffer is left as it was then.
[[nodiscard]] VELORA_API bool ReadStreamRange(std::FILE* stream, void* buffer, std::size_t capacity,
                                              std::uint64_t from, std::uint64_t to);

}  // namespace MiscUtils
