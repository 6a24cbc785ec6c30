// A whole file of any bytes through the block reader, in blocks and pieces of two sizes: the same
// records, the same traits, and the same problem at the same place.
//
// The first byte chooses a compression for the rest, which gets the fuzzer past the checksums, or
// none; the next two the sizes.

#include <string>

#include "fuzz/fuzz_support.h"
#include "tests/capture/read_whole.h"
#include "tests/support/capture_builder.h"

using fuzz::Check;
using velora::capture::CaptureTraits;
using velora::capture::ReadCapture;
using velora::capture::ReadWhole;

namespace {

std::string Packed(std::uint8_t choice, std::string_view bytes) {
    switch (choice % 8) {
        case 1:
            return Gzip(bytes);
        case 2:
            return Bzip2(bytes, 1);
        case 3:
            return Xz(bytes);
        case 4:
            return Zstd(bytes);
        case 5:
            return Lz4(bytes, choice > 127);
        case 6:  // in two members
            return Gzip(bytes.substr(0, bytes.size() / 2)) + Gzip(bytes.substr(bytes.size() / 2));
        default:
            return std::string(bytes);
    }
}

bool AreEqual(const CaptureTraits& one, const CaptureTraits& other) {
    return one.format == other.format && one.compression == other.compression &&
           one.hasRecord == other.hasRecord && one.linkType == other.linkType &&
           one.fcsBits == other.fcsBits && one.snapLen == other.snapLen &&
           one.isFinerThanMicroseconds == other.isFinerThanMicroseconds;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 3) {
        return 0;
    }
    const std::string file = Packed(data[0], {reinterpret_cast<const char*>(data) + 3, size - 3});
    const ReadCapture whole = ReadWhole(file);
    const ReadCapture parts =
        ReadWhole(file, {.blockSize = std::size_t{64} + data[1], .givesAtOnce = data[1] % 3 == 0},
                  std::size_t{1} + data[2]);
    Check(whole.isCapture == parts.isCapture, "both are captures, or neither is");
    Check(whole.Records() == parts.Records(), "the records are the same");
    Check(whole.recordsRead == parts.recordsRead && whole.recordsLeftOut == parts.recordsLeftOut &&
              whole.stepsBack == parts.stepsBack && whole.extras == parts.extras,
          "they are counted alike");
    Check(AreEqual(whole.traits, parts.traits), "so is what stands before them");
    Check(whole.problem.has_value() == parts.problem.has_value(),
          "both see damage, or neither does");
    if (whole.problem) {
        Check(whole.problem->kind == parts.problem->kind, "it is of one kind");
        // What is no capture may be told of before or behind what else is wrong with it.
        Check(!whole.isCapture || whole.problem->text == parts.problem->text, "and told alike");
        Check(!whole.isCapture || whole.problem->offset == parts.problem->offset, "at one place");
        Check(!whole.isCapture || whole.problem->records == whole.recordsRead,
              "behind all records");
    }
    return 0;
}
