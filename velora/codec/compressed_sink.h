// A sink that compresses what it is given and passes it on: one gzip member (RFC 1952, no name,
// time 0) by ISA-L, or one zstd frame with a checksum (RFC 8878). Both for speed: see the levels in
// the source, with what they were measured at.

#pragma once

#include <memory>

#include "velora/codec/byte_sink.h"
#include "velora/codec/compression.h"
#include "velora/utils/api.h"

namespace velora::codec {

// Null for a compression that is not written here: all but gzip and zstd. `below` is borrowed, and
// the new sink's alone while that exists; its Finish finishes `below` too, its Flush flushes it,
// and costs some bytes each time. `threads` is how many cores there are to compress with, at least
// 1; only zstd uses more than one, takes up to 16 MiB for each, and does without where they cannot
// be had. Throws std::bad_alloc; memory that is wanted later shows as kCannot.
[[nodiscard]] VELORA_API std::unique_ptr<ByteSink> MakeCompressedSink(Compression compression,
                                                                      ByteSink& below,
                                                                      unsigned threads);

}  // namespace velora::codec
