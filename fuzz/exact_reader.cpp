// A whole file of any bytes through the block reader, in blocks and pieces of two sizes: the same
// records, the same traits, and the same problem at the same place. And through the capture reader,
// from memory and from a function, which gives each record as it arrives.
//
// The first byte chooses a compression for the rest, which gets the fuzzer past the checksums, or
// none; the next two the sizes.

#include <string>

#include "fuzz/fuzz_support.h"
#include "tests/capture/read_whole.h"
#include "tests/support/capture_builder.h"
#include "velora/capture/capture_reader.h"

using fuzz::Check;
using velora::capture::ByteSource;
using velora::capture::CaptureReader;
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

// Records of all link types, which the block reader has counted as read.
void CheckReader(const ByteSource& source, bool givesAtOnce, const ReadCapture& whole) {
    CaptureReader reader;
    const bool isCapture = !reader.Open(source, {.givesAtOnce = givesAtOnce, .blockSize = 256});
    std::uint64_t records = 0;
    std::uint64_t sum = 0;  // of bytes that the sanitizers are to see looked at
    for (const velora::capture::Record& record : reader) {
        records += 1;
        for (const std::uint8_t byte : record.Bytes()) {
            sum += byte;
        }
        sum += record.interface->name.size() + record.interface->linkType;
    }
    for (const velora::capture::DescribedInterfaces& described : reader.Interfaces()) {
        for (const char letter : described.first.name) {
            sum += static_cast<std::uint8_t>(letter);
        }
    }
    volatile std::uint64_t seen = sum;
    static_cast<void>(seen);
    Check(isCapture == whole.isCapture, "it opens what is a capture");
    Check(records == whole.recordsRead, "it gives all records");
    Check(reader.GetProblem().has_value() == whole.problem.has_value(), "it sees the damage");
    Check(!isCapture || !whole.problem || reader.GetProblem()->text == whole.problem->text,
          "it tells of it alike");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 3) {
        return 0;
    }
    const std::string file = Packed(data[0], {reinterpret_cast<const char*>(data) + 3, size - 3});
    const ReadCapture whole = ReadWhole(file);
    // In front of damage to a compressed one, what is given at once depends on how it arrives.
    const std::span<const std::uint8_t> bytes(reinterpret_cast<const std::uint8_t*>(file.data()),
                                              file.size());
    const bool canBeGivenAtOnce =
        !whole.problem || velora::codec::DetectMember(bytes) == velora::codec::MemberStart::kOther;
    const ReadCapture parts = ReadWhole(file,
                                        {.blockSize = std::size_t{64} + data[1],
                                         .givesAtOnce = data[1] % 3 == 0 && canBeGivenAtOnce},
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
    CheckReader(ByteSource::Memory(file), false, whole);
    const auto byPieces = [left = std::string_view(file),
                           piece = std::size_t{1} + data[2]](std::span<std::uint8_t> room) mutable {
        const std::size_t count = std::min({piece, room.size(), left.size()});
        left.copy(reinterpret_cast<char*>(room.data()), count);
        left.remove_prefix(count);
        return static_cast<std::ptrdiff_t>(count);
    };
    CheckReader(ByteSource::Function(byPieces), canBeGivenAtOnce, whole);
    return 0;
}
