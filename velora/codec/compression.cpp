#include "velora/codec/compression.h"

#include <algorithm>
#include <string_view>

namespace velora::codec {
namespace {

using namespace std::string_view_literals;

// Each byte of a start lies between those of `lowest` and `highest`.
struct Signature {
    MemberStart start;
    std::string_view lowest;
    std::string_view highest;
};

// None is the beginning of another.
constexpr Signature kSignatures[] = {
    {MemberStart::kGzip, "\x1F\x8B"sv, "\x1F\x8B"sv},
    {MemberStart::kBzip2, "BZh1"sv, "BZh9"sv},
    {MemberStart::kXz, "\xFD\x37\x7A\x58\x5A\x00"sv, "\xFD\x37\x7A\x58\x5A\x00"sv},
    {MemberStart::kZstd, "\x28\xB5\x2F\xFD"sv, "\x28\xB5\x2F\xFD"sv},
    {MemberStart::kLz4, "\x04\x22\x4D\x18"sv, "\x04\x22\x4D\x18"sv},
    {MemberStart::kLegacyLz4, "\x02\x21\x4C\x18"sv, "\x02\x21\x4C\x18"sv},
    {MemberStart::kSkippable, "\x50\x2A\x4D\x18"sv, "\x5F\x2A\x4D\x18"sv},
};

// Whether the bytes are those of the signature, as far as there are both.
bool Agree(std::span<const std::uint8_t> bytes, const Signature& signature) {
    const std::size_t count = std::min(bytes.size(), signature.lowest.size());
    for (std::size_t i = 0; i < count; ++i) {
        if (bytes[i] < static_cast<std::uint8_t>(signature.lowest[i]) ||
            bytes[i] > static_cast<std::uint8_t>(signature.highest[i])) {
            return false;
        }
    }
    return true;
}

}  // namespace

const char* NameOf(Compression compression) {
    switch (compression) {
        case Compression::kNone:
            return "none";
        case Compression::kGzip:
            return "gzip";
        case Compression::kBzip2:
            return "bzip2";
        case Compression::kXz:
            return "xz";
        case Compression::kZstd:
            return "zstd";
        case Compression::kLz4:
            return "lz4";
    }
    return "unknown";
}

const char* MemberNameOf(Compression compression) {
    switch (compression) {
        case Compression::kGzip:
            return "member";
        case Compression::kZstd:
        case Compression::kLz4:
            return "frame";
        default:
            return "stream";
    }
}

MemberStart DetectMember(std::span<const std::uint8_t> bytes) {
    for (const Signature& signature : kSignatures) {
        if (Agree(bytes, signature)) {
            return bytes.size() < signature.lowest.size() ? MemberStart::kUnsure : signature.start;
        }
    }
    return MemberStart::kOther;
}

bool CanBecome(std::span<const std::uint8_t> bytes, MemberStart start) {
    return std::any_of(std::begin(kSignatures), std::end(kSignatures), [&](const auto& signature) {
        return signature.start == start && Agree(bytes, signature);
    });
}

MemberStart StartOf(Compression compression) {
    switch (compression) {
        case Compression::kGzip:
            return MemberStart::kGzip;
        case Compression::kBzip2:
            return MemberStart::kBzip2;
        case Compression::kXz:
            return MemberStart::kXz;
        case Compression::kZstd:
            return MemberStart::kZstd;
        case Compression::kLz4:
            return MemberStart::kLz4;
        case Compression::kNone:
            break;
    }
    return MemberStart::kOther;
}

Compression CompressionOf(MemberStart start) {
    for (const Compression compression : {Compression::kGzip, Compression::kBzip2, Compression::kXz,
                                          Compression::kZstd, Compression::kLz4}) {
        if (StartOf(compression) == start) {
            return compression;
        }
    }
    return Compression::kNone;
}

}  // namespace velora::codec
