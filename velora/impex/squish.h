// Squish: plays captures of different times as if they had been taken side by side.
//
// Each input is moved in time so that its first record falls on the first record of the first
// usable input, and keeps its own spacing from there; the moved inputs are interleaved to the
// microsecond. The output lasts as long as the longest input. Where an input's clock steps back,
// its records stay at the time reached and go on from there with their own spacing, until its raw
// time has caught up.
//
// Times are 32-bit and wrap (velora/utils/time_val32.h): timestamps out of range give odd times, no
// fault.

#pragma once

#include "velora/impex/merge_job.h"
#include "velora/utils/api.h"

// Runs the job. With `extraCopies` above 0, each record that looks like IPv4 in Ethernet (bytes 12
// and 13 are 08 00, whatever the link type; at least 32 captured bytes) is written ten more times
// at the same time, with addresses 192.168.a.b changed to 10.0.a.b up to 10.9.a.b. Checksums stay
// as captured. The counters grow by `extraCopies` for these: callers pass 0 or 10.
//
// Prints on standard output a line for each finished input and, every million records, one on the
// progress. False only when the output could not be opened. When no input has a usable record,
// throws std::out_of_range, and leaves an output that holds the file header only.
[[nodiscard]] VELORA_API bool Squish(MergeJob& job, int extraCopies);
