// The merge: all records of all sources, by time to the nanosecond; among equals the source named
// first, and within a source its own order. A choice costs a logarithm in the number of sources.

#pragma once

#include <cstdint>

#include "velora/merge/put_record.h"
#include "velora/utils/api.h"

namespace velora::merge {

// Puts all records of the sources, which have not begun, into the sink, of their bytes `mostBytes`
// at most. False once the output has failed.
[[nodiscard]] VELORA_API bool MergeByTime(Sources sources, std::uint32_t mostBytes,
                                          output::RecordSink& sink);

// Source after source, without any order by time.
[[nodiscard]] VELORA_API bool Concatenate(Sources sources, std::uint32_t mostBytes,
                                          output::RecordSink& sink);

}  // namespace velora::merge
