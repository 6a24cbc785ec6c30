// Why the bytes of a file cannot be read, or not to their end.

#pragma once

#include <cstdint>
#include <string>

namespace velora::codec {

// What is well made, but not read here. There are programs that read it.
enum class Refusal : std::uint8_t {
    kNone,
    kLegacyLz4,          // what lz4 wrote before it had frames
    kLargeXzDictionary,  // above 128 MiB
    kLargeZstdWindow,    // above 128 MiB
};

struct StreamFault {
    // What can go wrong.
    enum class Kind : std::uint8_t {
        kReadFailed,     // the owner said so, or the decoder got no memory
        kCut,            // the raw bytes end inside a member
        kDamaged,        // the decoder refuses them, or they are no further member
        kWrongChecksum,  // all was given, but is not what the checksum was made of
        kRefused,        // of a kind that is not read here
    };
    Kind kind = Kind::kDamaged;        // for programs
    std::string reason{};              // "the gzip stream ends in its middle"
    Refusal refusal = Refusal::kNone;  // kRefused: which kind
};

}  // namespace velora::codec
