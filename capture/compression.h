// Compressions of captures, told by their first bytes, never by a name.

#pragma once

#include <cstdint>

namespace velora::capture {

enum class Compression : std::uint8_t { kNone, kGzip, kBzip2, kXz, kZstd, kLz4 };

// "none", "gzip", "bzip2", "xz", "zstd", "lz4".
[[nodiscard]] const char* NameOf(Compression compression);

}  // namespace velora::capture
