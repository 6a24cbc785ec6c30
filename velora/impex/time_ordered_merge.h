// Merge: interleaves the records of all inputs by the second of their timestamps.
//
// Only the first unwritten record of each input is compared, and only by its whole second: among
// heads of the same second the input that stands earlier in the job goes first, even when a later
// one's microseconds are smaller. So records of one input are never reordered, and an input whose
// clock runs backwards is copied in its own order.

#pragma once

#include "velora/impex/merge_job.h"
#include "velora/utils/api.h"

// Runs the job: creates its output, reads its inputs, counts what is written. True when the output
// could be opened, however many inputs were unusable and however many writes failed: those are told
// by the log. Inputs without a usable record are dropped silently.
[[nodiscard]] VELORA_API bool Merge(MergeJob& job);
