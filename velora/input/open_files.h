// The inputs of a run, opened, as far as they can be.

#pragma once

#include <cstddef>
#include <span>
#include <stop_token>
#include <vector>

#include "velora/capture/byte_source.h"
#include "velora/capture/input_file.h"
#include "velora/capture/problem.h"
#include "velora/utils/api.h"

namespace velora::input {

struct OpenFiles {
    // What is wrong with an input that could not be opened.
    struct Failure {
        std::size_t input;         // which one it is
        capture::Problem problem;  // with it
    };

    std::vector<capture::InputFile> files;  // those that are open
    std::vector<std::size_t> inputOf;       // which input each file is
    std::vector<Failure> failures;          // in the order of the inputs
};

// Opens each, and leaves descriptors for an output and the waiting for pipes. Where those that are
// left are not enough, all further ones fail with EMFILE. After a stop no more are opened.
[[nodiscard]] VELORA_API OpenFiles OpenAll(std::span<const capture::ByteSource> inputs,
                                           const std::stop_token& stop = {});

}  // namespace velora::input
