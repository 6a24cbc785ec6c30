// Decoder: one compression's way from compressed to plain bytes, a member at a time. What stands
// between members is none of its business: ByteStream has that, once for all five.
//
// A decoder makes no system call and throws nothing for what a file can hold. It allocates what its
// library wants (a dictionary or window of up to 128 MiB) when it is made or meets a member that
// asks for it, and keeps that for the members that follow, where the library can.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "velora/codec/compression.h"
#include "velora/codec/stream_fault.h"

namespace velora::codec {

class Decoder {
 public:
    // At most one of the last two. Nothing but Reset follows either.
    struct Step {
        std::size_t taken = 0;             // bytes of `in`, from its start
        std::size_t given = 0;             // bytes of `out`, from its start, whatever else happened
        bool isMemberEnd = false;          // the member is over, and its checksum was right
        std::optional<StreamFault> fault;  // what is wrong with it
    };

    Decoder() = default;
    virtual ~Decoder() = default;
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    // Goes on with the member: takes bytes of `in`, or gives some, or both, or the member is over,
    // or broken. `in` begins with the member's first byte when the decoder is new or reset, and
    // with the first byte not taken ever after. Where a Step filled `out`, more may be to come
    // without further bytes: the next call's `in` may then be empty.
    [[nodiscard]] virtual Step Decode(std::span<const std::uint8_t> in,
                                      std::span<std::uint8_t> out) = 0;

    // What it gives in front of damage does not depend on how the bytes are cut into pieces, so it
    // may have many at once.
    [[nodiscard]] virtual bool IsExact() const { return false; }

    // Makes ready for another member.
    virtual void Reset() = 0;
};

// A source file each, with what there is to know about the library. Never null.
[[nodiscard]] std::unique_ptr<Decoder> MakeGzipDecoder();
[[nodiscard]] std::unique_ptr<Decoder> MakeBzip2Decoder();
[[nodiscard]] std::unique_ptr<Decoder> MakeXzDecoder();
[[nodiscard]] std::unique_ptr<Decoder> MakeZstdDecoder();
[[nodiscard]] std::unique_ptr<Decoder> MakeLz4Decoder();

// The faults that all of them know. `word` is what the library says.
[[nodiscard]] inline StreamFault BadData(Compression compression, const std::string& word) {
    return {StreamFault::Kind::kDamaged,
            std::string("bad ") + NameOf(compression) + " data: " + word};
}
[[nodiscard]] inline StreamFault WrongChecksum(Compression compression) {
    return {StreamFault::Kind::kWrongChecksum,
            std::string("wrong ") + NameOf(compression) + " checksum"};
}
[[nodiscard]] inline StreamFault NoMemory(Compression compression) {
    return {StreamFault::Kind::kReadFailed,
            std::string("no memory for the ") + NameOf(compression) + " decoder"};
}
[[nodiscard]] inline StreamFault Refused(Refusal refusal, const std::string& reason) {
    return {StreamFault::Kind::kRefused, reason, refusal};
}

}  // namespace velora::codec
