// Compressions of captures, told by their first bytes, never by a name.

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "velora/utils/api.h"

namespace velora::codec {

// The compressions that are read here; gzip and zstd are written too.
enum class Compression : std::uint8_t { kNone, kGzip, kBzip2, kXz, kZstd, kLz4 };

// "none", "gzip", "bzip2", "xz", "zstd", "lz4".
[[nodiscard]] VELORA_API const char* NameOf(Compression compression);

// What one member of that compression is called: "member" (gzip), "stream" (bzip2, xz) or "frame".
[[nodiscard]] VELORA_API const char* MemberNameOf(Compression compression);

// What begins at a place of a file. Sources: RFC 1952 (gzip), RFC 8878 (zstd, with the skippable
// frames that lz4 has as well), the .xz file format, the lz4 frame format; bzip2 is described by
// its library only.
enum class MemberStart : std::uint8_t {
    kGzip,
    kBzip2,
    kXz,
    kZstd,
    kLz4,
    kLegacyLz4,  // what lz4 wrote before it had frames
    kSkippable,  // a frame, of zstd or of lz4, that is to be stepped over
    kOther,      // none of these
    kUnsure,     // none yet, but more bytes can make one
};

// Told by the `bytes` from that place on; six are always enough.
[[nodiscard]] VELORA_API MemberStart DetectMember(std::span<const std::uint8_t> bytes);

// Whether `bytes`, fewer than it takes to tell, can become a member that starts so.
[[nodiscard]] VELORA_API bool CanBecome(std::span<const std::uint8_t> bytes, MemberStart start);

// How members of that compression start, which is not kNone, and back: the compression that has
// members which start so; kNone for the last four.
[[nodiscard]] VELORA_API MemberStart StartOf(Compression compression);
[[nodiscard]] VELORA_API Compression CompressionOf(MemberStart start);

}  // namespace velora::codec
