// MergeJob: what the command line asks an algorithm to do, and what came of it.

#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

struct MergeJob {
    // Takes both paths by value; nothing is looked at or created yet.
    MergeJob(std::string output, std::vector<std::string> inputs)
        : outputPath(std::move(output)), inputPaths(std::move(inputs)) {}

    std::string outputPath;               // the capture file to create
    std::vector<std::string> inputPaths;  // in the order of the command line; may be empty

    // Counted up by the algorithm, failed writes included.
    std::uint64_t packetsWritten = 0;
    std::uint64_t bytesWritten = 0;  // captured lengths, without headers

    // Zeros, for counters to come.
    std::array<std::uint64_t, 2> reserved{};
};
