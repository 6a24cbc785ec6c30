#include "velora/codec/member_rules.h"

#include <algorithm>

#include "velora/formats/byte_order.h"

namespace velora::codec {

bool MayFollow(Compression members, MemberStart start) {
    const bool mayBeZstd = members == Compression::kNone || members == Compression::kZstd;
    const bool mayBeLz4 = members == Compression::kNone || members == Compression::kLz4;
    switch (start) {
        case MemberStart::kZstd:
            return mayBeZstd;
        case MemberStart::kLz4:
        case MemberStart::kLegacyLz4:
            return mayBeLz4;
        case MemberStart::kSkippable:
            return mayBeZstd || mayBeLz4;
        default:
            return members != Compression::kNone && start == StartOf(members);
    }
}

bool MayFollowWhole(Compression members, std::span<const std::uint8_t> bytes) {
    const auto starts = {MemberStart::kGzip,     MemberStart::kBzip2, MemberStart::kXz,
                         MemberStart::kZstd,     MemberStart::kLz4,   MemberStart::kLegacyLz4,
                         MemberStart::kSkippable};
    return std::any_of(starts.begin(), starts.end(), [&](MemberStart start) {
        return MayFollow(members, start) && CanBecome(bytes, start);
    });
}

std::uint64_t SkippableSize(std::span<const std::uint8_t> header) {
    constexpr std::size_t kSizeAt = 4;
    return formats::LoadLittle<std::uint32_t>(&header[kSizeAt]);
}

}  // namespace velora::codec
