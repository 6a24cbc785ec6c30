// Any bytes as a compressed file: what comes out, and how it ends, does not depend on the pieces in
// which the bytes arrive, nor on the room for what they become. The first two bytes choose these.

#include "velora/codec/byte_stream.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/fuzz_support.h"

using fuzz::Check;
using velora::codec::ByteStream;
using velora::codec::Compression;

namespace {

constexpr std::size_t kEnough = 1U << 19U;  // a few bytes can become gigabytes

struct Outcome {
    std::string bytes;
    bool isWhole = false;  // else it was given up behind kEnough bytes
    ByteStream::State state = ByteStream::State::kFull;
    ByteStream::Fault fault{};
    Compression compression = Compression::kNone;
    std::uint64_t verified = 0;
};

Outcome Drain(std::string_view file, std::size_t piece, std::size_t outSize) {
    ByteStream stream(4096);
    Outcome outcome;
    std::vector<std::uint8_t> room(outSize);
    std::span<std::uint8_t> out(room);
    while (outcome.bytes.size() < kEnough) {
        const ByteStream::Step step = stream.Read(out);
        Check(step.given <= out.size(), "no more is given than there is room for");
        outcome.bytes.append(reinterpret_cast<const char*>(out.data()), step.given);
        out = out.subspan(step.given);
        Check(stream.GivenBytes() == outcome.bytes.size(), "what is given is counted");
        Check(stream.VerifiedBytes() >= outcome.verified &&
                  stream.VerifiedBytes() <= stream.GivenBytes(),
              "the verified bytes grow, up to those given");
        outcome.verified = stream.VerifiedBytes();
        outcome.state = step.state;
        if (step.state == ByteStream::State::kFull) {
            Check(out.empty(), "full is full");
            out = room;
        } else if (step.state == ByteStream::State::kNeedsBytes) {
            Check(!out.empty(), "bytes are wanted only where there is room");
            const auto place = stream.Wanted(out);
            const std::size_t count = std::min({piece, place.size(), file.size()});
            Check(!place.empty(), "there is always a place for raw bytes");
            std::copy_n(file.begin(), count, place.begin());
            file.remove_prefix(count);
            count > 0 ? stream.Arrived(count) : stream.Ended();
        } else {
            outcome.isWhole = true;
            outcome.compression = stream.GetCompression();
            if (step.state == ByteStream::State::kBroken) {
                outcome.fault = stream.GetFault();
                Check(!outcome.fault.reason.empty(), "a fault has a reason");
            }
            break;
        }
    }
    return outcome;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    const std::string_view file(reinterpret_cast<const char*>(data) + 2, size - 2);
    const Outcome whole = Drain(file, file.size() + 1, kEnough);
    const Outcome pieces = Drain(file, std::size_t{1} + data[0], std::size_t{1} + data[1]);
    const std::size_t common = std::min({whole.bytes.size(), pieces.bytes.size(), kEnough});
    Check(whole.bytes.compare(0, common, pieces.bytes, 0, common) == 0, "the bytes are the same");
    if (whole.isWhole && pieces.isWhole) {
        Check(whole.bytes.size() == pieces.bytes.size(), "as many bytes are given");
        Check(whole.state == pieces.state && whole.fault.kind == pieces.fault.kind &&
                  whole.fault.reason == pieces.fault.reason,
              "both end in the same way");
        Check(whole.compression == pieces.compression && whole.verified == pieces.verified,
              "both know the same of it");
    }
    return 0;
}
