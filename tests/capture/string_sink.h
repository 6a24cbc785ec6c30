// A sink into memory that fails on demand.

#pragma once

#include <atomic>
#include <cerrno>
#include <string>
#include <string_view>

#include "capture/byte_sink.h"

namespace velora::capture {

class StringSink final : public ByteSink {
 public:
    OutputOutcome Write(std::span<const std::uint8_t> bytes) override {
        if (++calls >= failingCall) {
            return {.kind = OutputOutcome::Kind::kCannot, .error = EIO, .text = "write " + std::to_string(calls)};
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
    bool isFinished = false;
    OutputOutcome finish;
};

inline std::span<const std::uint8_t> BytesOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

}  // namespace velora::capture
