// The squish: plays captures of different times as if they had been taken side by side.
//
// Each input is moved to start with the first record of the first input that has one, and keeps its
// own spacing from there; where its times step back its records wait (velora/utils/shift_rule.h).
// The moved inputs are interleaved to the nanosecond, ties to the input named first; each keeps its
// own order.

#pragma once

#include <span>

#include "velora/merge/record_writer.h"
#include "velora/merge/reorder_window.h"

namespace velora::merge {

// Writes all records of the inputs, which have begun; with `makesCopies` every IPv4 packet is
// followed by its ten copies (velora/packet/address_copies.h). False once the output has failed.
[[nodiscard]] bool Squish(std::span<InputOrder> inputs, bool makesCopies, RecordWriter& output);

}  // namespace velora::merge
