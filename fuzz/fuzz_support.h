// What the fuzz targets share. A target is a source file with
//
//     extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
//
// It is linked with libFuzzer in the preset `fuzz`, and elsewhere with replay_main.cpp, which runs
// the stored inputs as an ordinary test. Before the first input LLVMFuzzerInitialize (in
// fuzz_support.cpp) has set the time zone to UTC and sent the log and standard output, which are
// written in full, to the null device.

#pragma once

#include <string>
#include <string_view>

#include "tests/impex/naive_model.h"
#include "velora/impex/impex_libpcap.h"

namespace fuzz {

// Ends the process (SIGABRT) with `what` on standard error unless `holds`.
void Check(bool holds, const char* what);

// The path of `name` in a directory that goes with the process when it ends in peace. TMPDIR says
// where that is; a memory file system is several times as fast.
[[nodiscard]] std::string ScratchPath(std::string_view name);

// Makes or replaces the file `name` there; gives its path.
std::string WriteScratch(std::string_view name, std::string_view bytes);
[[nodiscard]] std::string ReadScratch(std::string_view name);

// All records that are left, and the two promises that hold for any file: the counters grow by what
// was delivered, and after the end there is no further record.
[[nodiscard]] ModelInput ReadRecords(CImpex_Libpcap& input);

}  // namespace fuzz
