#include "velora/packet/ipv4_place.h"

#include "velora/formats/byte_order.h"
#include "velora/formats/link_types.h"

namespace velora::packet {

namespace {

namespace link_type = formats::link_type;
using formats::LoadBig;
using Bytes = std::span<const std::uint8_t>;
using Place = std::optional<std::size_t>;

constexpr std::uint16_t kEtherTypeIpv4 = 0x0800;
constexpr std::size_t kVlanTagSize = 4;

// Sizes of link headers, and where in them the type of the payload stands.
constexpr std::size_t kEthernetSize = 14;
constexpr std::size_t kEthernetType = 12;
constexpr std::size_t kCookedSize = 16;
constexpr std::size_t kCookedType = 14;
constexpr std::size_t kCookedDevice = 2;
constexpr std::size_t kCooked2Size = 20;
constexpr std::size_t kCooked2Type = 0;
constexpr std::size_t kCooked2Device = 8;
constexpr std::size_t kLoopbackSize = 4;

constexpr std::uint32_t kFamilyInet = 2;  // AF_INET, the same number on all systems
constexpr std::uint32_t kFamilyInetSwapped = 0x02000000;

bool IsVlanTag(std::uint16_t type) {
    return type == 0x8100 || type == 0x88A8 || type == 0x9100;
}

// Begins at a payload and the type that a link header gives for it, which is captured.
Place BehindTags(Bytes captured, std::uint16_t type, std::size_t payload) {
    while (IsVlanTag(type)) {
        if (captured.size() - payload < kVlanTagSize) {
            return std::nullopt;
        }
        type = LoadBig<std::uint16_t>(&captured[payload + 2]);
        payload += kVlanTagSize;
    }
    return type == kEtherTypeIpv4 ? Place(payload) : std::nullopt;
}

Place BehindEthernet(Bytes captured) {
    if (captured.size() < kEthernetSize) {
        return std::nullopt;
    }
    return BehindTags(captured, LoadBig<std::uint16_t>(&captured[kEthernetType]), kEthernetSize);
}

Place BehindCooked(Bytes captured, std::size_t size, std::size_t typeAt, std::size_t deviceAt) {
    if (captured.size() < size) {
        return std::nullopt;
    }
    // On these devices the type is none of the EtherTypes: Frame Relay, radiotap, netlink.
    const std::uint16_t device = LoadBig<std::uint16_t>(&captured[deviceAt]);
    if (device == 770 || device == 803 || device == 824) {
        return std::nullopt;
    }
    return BehindTags(captured, LoadBig<std::uint16_t>(&captured[typeAt]), size);
}

Place BehindLoopback(Bytes captured) {
    if (captured.size() < kLoopbackSize) {
        return std::nullopt;
    }
    const std::uint32_t family = LoadBig<std::uint32_t>(&captured[0]);
    return family == kFamilyInet || family == kFamilyInetSwapped ? Place(kLoopbackSize)
                                                                 : std::nullopt;
}

Place BehindLinkHeader(std::uint32_t linkType, Bytes captured) {
    switch (link_type::Canonical(linkType)) {
        case link_type::kEthernet:
            return BehindEthernet(captured);
        case link_type::kLinuxCooked:
            return BehindCooked(captured, kCookedSize, kCookedType, kCookedDevice);
        case link_type::kLinuxCooked2:
            return BehindCooked(captured, kCooked2Size, kCooked2Type, kCooked2Device);
        case link_type::kBsdLoopback:
        case link_type::kOpenBsdLoopback:
            return BehindLoopback(captured);
        case link_type::kRawIp:
        case link_type::kIpv4:
            return 0;
        default:
            return std::nullopt;
    }
}

}  // namespace

std::optional<std::size_t> FindIpv4(std::uint32_t linkType, Bytes captured) {
    const Place place = BehindLinkHeader(linkType, captured);
    if (!place || captured.size() - *place < kShortestIpv4Header) {
        return std::nullopt;
    }
    const std::uint8_t versionAndLength = captured[*place];
    const bool isIpv4 = versionAndLength >> 4U == 4 && (versionAndLength & 0x0FU) >= 5;
    return isIpv4 ? place : std::nullopt;
}

}  // namespace velora::packet
