// A sink into memory that fails on demand, and what tests write to sinks.

#pragma once

#include <algorithm>
#include <atomic>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>

#include "velora/codec/byte_sink.h"

namespace velora::codec {

class StringSink final : public ByteSink {
 public:
    OutputOutcome Write(std::span<const std::uint8_t> bytes) override {
        if (++calls == throwingCall) {
            throw std::runtime_error("write " + std::to_string(calls));
        }
        if (calls >= failingCall) {
            return {.kind = OutputOutcome::Kind::kCannot, .text = "write " + std::to_string(calls)};
        }
        content.append(bytes.begin(), bytes.end());
        return {};
    }
    OutputOutcome Finish() override {
        isFinished = true;
        return finish;
    }

    std::string content;
    std::atomic<int> calls = 0;
    int failingCall = 1 << 30;  // and all that follow
    int throwingCall = 0;
    bool isFinished = false;
    OutputOutcome finish;
};

inline std::span<const std::uint8_t> BytesOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

inline std::string Noise(std::size_t size, std::mt19937&& random = std::mt19937()) {
    std::string noise(size, '\0');
    std::generate(noise.begin(), noise.end(), [&] { return static_cast<char>(random()); });
    return noise;
}

}  // namespace velora::codec
