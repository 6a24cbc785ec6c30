// The squish: plays captures of different times as if they had been taken side by side.
//
// Each source is moved to start with the first record of the first source that has one, and keeps
// its own spacing from there; where its times step back its records wait
// (velora/utils/shift_rule.h). The moved sources are interleaved to the nanosecond, ties to the
// source named first; each keeps its own order.

#pragma once

#include <cstdint>

#include "velora/merge/put_record.h"
#include "velora/utils/api.h"

namespace velora::merge {

// Puts all records of the sources, which have not begun and give their records as they stand in the
// file, into the sink, of their bytes `mostBytes` at most. False once the output has failed.
[[nodiscard]] VELORA_API bool Squish(Sources sources, std::uint32_t mostBytes,
                                     output::RecordSink& sink);

}  // namespace velora::merge
