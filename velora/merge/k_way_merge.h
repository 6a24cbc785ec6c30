// The merge: all records of all inputs, by time to the nanosecond; among equals the input named
// first, and within an input the order that InputOrder gives.

#pragma once

#include <span>

#include "velora/merge/duplicate_window.h"
#include "velora/merge/record_writer.h"
#include "velora/merge/reorder_window.h"

namespace velora::merge {

// Writes all records of the inputs, which have begun. With a window, those that repeat one in it
// are dropped instead, and counted. False once the output has failed.
[[nodiscard]] bool MergeByTime(std::span<InputOrder> inputs, RecordWriter& output,
                               DuplicateWindow* window);

// Writes input after input, without any order by time.
[[nodiscard]] bool Concatenate(std::span<InputOrder> inputs, RecordWriter& output);

}  // namespace velora::merge
