// What the algorithms must write, worked out the slow way: everything in memory, rule by rule, and
// with none of the code under test.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

enum class Algorithm { Merge, Squish, Squish10 };

struct ModelRecord {
    std::int32_t sec;
    std::int32_t usec;
    std::uint32_t origLen;
    std::string data;
};
using ModelInput = std::vector<ModelRecord>;  // the records that the reader delivers

struct ModelResult {
    std::string file;
    std::uint64_t packets = 0;
    std::uint64_t bytes = 0;
    std::vector<std::size_t> finished;  // the inputs, in the order in which they end
};

ModelResult RunModel(const std::vector<ModelInput>& inputs, Algorithm algorithm);
