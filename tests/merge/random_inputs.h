// Captures of any disorder, the same for the same seed.

#pragma once

#include <random>
#include <string>
#include <vector>

#include "tests/support/capture_builder.h"
#include "velora/input/read_ahead.h"

namespace velora::merge {

// One to nine inputs in any disorder, and blocks in which it reaches from one into another.
struct RandomInputs {
    explicit RandomInputs(unsigned seed) {
        std::mt19937 random(seed);
        const auto upTo = [&random](int most) { return std::uniform_int_distribution(0, most)(random); };
        plan = {.blocksPerInput = seed % 3 == 0 ? 2U : 3U, .blockSize = static_cast<std::size_t>(64 + upTo(400))};
        const int disorder = std::vector{0, 3, 30, 1000}[static_cast<std::size_t>(upTo(3))];
        for (int left = upTo(8); left >= 0; --left) {
            CaptureBuilder file = CaptureBuilder().Nanoseconds();
            int time = 1000 + upTo(10);
            for (int records = upTo(80); records > 0; --records) {
                time += upTo(2);
                const std::string data = std::string(static_cast<std::size_t>(upTo(60)), 'x');
                file.Record(5, time - upTo(disorder), data + static_cast<char>(upTo(255)));
            }
            files.push_back(file.Bytes());
        }
    }
    input::BlockPlan plan;
    std::vector<std::string> files;
};

}  // namespace velora::merge
