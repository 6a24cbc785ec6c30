// The command line of seamtool: from the argument vector to the status of the run.

#pragma once

#include <cstdint>

// What the driver returns; the process exits with the low eight bits (0, 255, 254, 253).
namespace RunStatus {

inline constexpr std::int32_t kSuccess = 0;        // or the version was printed
inline constexpr std::int32_t kUsage = -1;         // usage printed, or the home-dir refused
inline constexpr std::int32_t kOutputExists = -2;  // the output path is a regular file already
inline constexpr std::int32_t kFailed = -3;        // the algorithm could not open the output

}  // namespace RunStatus

// Reads the arguments and runs one algorithm:
//
//     seamtool [-squish | -squish10 | -squish -squish10] [-r home-dir] input ... -out outfile
//     seamtool --version
//
// Messages go to standard error, the version to standard output. "-r" changes the working directory
// for the rest of the process. What an algorithm throws is not caught.
[[nodiscard]] std::int32_t RunDriver(int argc, char** argv);
