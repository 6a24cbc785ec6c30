#include "velora/packet/ip_place.h"

#include "velora/formats/byte_order.h"
#include "velora/formats/link_types.h"

namespace velora::packet {

namespace {

namespace link_type = formats::link_type;
using formats::LoadBig;
using Bytes = std::span<const std::uint8_t>;

// What stands behind the link header, by what that says: an IP header of this version, or of any.
enum class Promise : std::uint8_t { kAny = 0, kIpv4 = 4, kIpv6 = 6 };
struct Payload {
    std::size_t offset;
    Promise promise;
};
using Place = std::optional<Payload>;

constexpr std::uint16_t kEtherTypeIpv4 = 0x0800;
constexpr std::uint16_t kEtherTypeIpv6 = 0x86DD;
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
    switch (type) {
        case kEtherTypeIpv4:
            return Payload{payload, Promise::kIpv4};
        case kEtherTypeIpv6:
            return Payload{payload, Promise::kIpv6};
        default:
            return std::nullopt;
    }
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
    switch (family <= 0xFFFF ? family : formats::Swapped(family)) {
        case 2:  // AF_INET, the same number on all systems
            return Payload{kLoopbackSize, Promise::kIpv4};
        case 10:  // AF_INET6 of Linux
        case 24:  // NetBSD, OpenBSD
        case 28:  // FreeBSD
        case 30:  // Darwin
            return Payload{kLoopbackSize, Promise::kIpv6};
        default:
            return std::nullopt;
    }
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
            return Payload{0, Promise::kAny};
        case link_type::kIpv4:
            return Payload{0, Promise::kIpv4};
        case link_type::kIpv6:
            return Payload{0, Promise::kIpv6};
        default:
            return std::nullopt;
    }
}

bool IsIpv4Header(Bytes packet) {
    return packet.size() >= kShortestIpv4Header && (packet[0] & 0x0FU) >= 5;
}

}  // namespace

std::optional<IpPlace> FindIp(std::uint32_t linkType, Bytes captured) {
    const Place payload = BehindLinkHeader(linkType, captured);
    if (!payload || payload->offset == captured.size()) {
        return std::nullopt;
    }
    const Bytes packet = captured.subspan(payload->offset);
    const auto version = static_cast<std::uint8_t>(packet[0] >> 4U);
    if (payload->promise != Promise::kAny && payload->promise != Promise{version}) {
        return std::nullopt;
    }
    if (!(version == 4 && IsIpv4Header(packet)) &&
        !(version == 6 && packet.size() >= kIpv6Header)) {
        return std::nullopt;
    }
    return IpPlace{payload->offset, version};
}

std::optional<std::size_t> FindIpv4(std::uint32_t linkType, Bytes captured) {
    const std::optional<IpPlace> place = FindIp(linkType, captured);
    return place && place->version == 4 ? std::optional(place->offset) : std::nullopt;
}

}  // namespace velora::packet
