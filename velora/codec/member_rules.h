// What may stand where in a file of compressed members, one behind the other: all are of one
// compression, and skippable frames stand anywhere between those of zstd and lz4.
//
// `members` is the compression of the members so far; kNone where only skippable frames were met.

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "velora/codec/compression.h"

namespace velora::codec {

// Whether what starts so may follow; the legacy format of lz4 counts as lz4.
[[nodiscard]] bool MayFollow(Compression members, MemberStart start);

// Whether `bytes`, which the end of the file cuts, are the beginning of what may follow.
[[nodiscard]] bool MayFollowWhole(Compression members, std::span<const std::uint8_t> bytes);

// The header of a skippable frame, and how many bytes of the frame stand behind it.
inline constexpr std::size_t kSkippableHeaderSize = 8;
[[nodiscard]] std::uint64_t SkippableSize(std::span<const std::uint8_t> header);

}  // namespace velora::codec
