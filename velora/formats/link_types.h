// Link types: what the captured bytes of a record begin with. The numbers are the LINKTYPE_
// registry of https://www.tcpdump.org/linktypes.html; only those that some code here treats in a
// way of its own have a name.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace velora::formats::link_type {

inline constexpr std::uint32_t kBsdLoopback = 0;  // address family (4 bytes, writer's byte order)
inline constexpr std::uint32_t kEthernet = 1;     // a MAC header
inline constexpr std::uint32_t kRawIp = 101;      // an IPv4 or IPv6 header
inline constexpr std::uint32_t kOpenBsdLoopback = 108;  // address family, big-endian
inline constexpr std::uint32_t kLinuxCooked = 113;   // 16 bytes in place of the link's own header
inline constexpr std::uint32_t kIpv4 = 228;          // an IPv4 header
inline constexpr std::uint32_t kIpv6 = 229;          // an IPv6 header
inline constexpr std::uint32_t kDbus = 231;          // messages of up to 128 MiB
inline constexpr std::uint32_t kUsbPcap = 249;       // transfers of up to 128 MiB
inline constexpr std::uint32_t kLinuxCooked2 = 276;  // 20 bytes in place of the link's own header

// The field of a classic file header: the link type is its low 26 bits; the six above tell of frame
// check sequences behind the packets.
inline constexpr std::uint32_t kTypeMask = 0x03FFFFFF;
inline constexpr std::uint32_t kFcsMask = ~kTypeMask;

// Among those six: the length of the sequences is told, in units of 16 bits, by the upper four.
inline constexpr std::uint32_t kFcsLengthIsTold = 0x04000000;
inline constexpr std::uint32_t kFcsUnitShift = 28;
inline constexpr std::uint8_t kFcsUnitBits = 16;
inline constexpr std::uint8_t kLongestFcs = 15 * kFcsUnitBits;

// The length in bits that a classic header's field tells, if it does.
[[nodiscard]] constexpr std::optional<std::uint8_t> FcsLengthOf(std::uint32_t field) {
    if ((field & kFcsLengthIsTold) == 0) {
        return std::nullopt;
    }
    return static_cast<std::uint8_t>((field >> kFcsUnitShift) * kFcsUnitBits);
}

// And back: the bits of the field that tell this length; 0 for none, and for one that they cannot
// tell.
[[nodiscard]] constexpr std::uint32_t FcsBitsOf(std::optional<std::uint8_t> length) {
    if (!length || *length > kLongestFcs || *length % kFcsUnitBits != 0) {
        return 0;
    }
    return kFcsLengthIsTold | std::uint32_t{*length} / kFcsUnitBits << kFcsUnitShift;
}

// 12 and 14 are what some systems wrote for raw IP before 101 was agreed upon.
constexpr std::uint32_t Canonical(std::uint32_t linkType) {
    return linkType == 12 || linkType == 14 ? kRawIp : linkType;
}

// For messages: "1 (Ethernet)", or the number alone.
[[nodiscard]] inline std::string Shown(std::uint32_t linkType) {
    constexpr std::pair<std::uint32_t, const char*> kNames[] = {
        {kBsdLoopback, "BSD loopback"},
        {kEthernet, "Ethernet"},
        {9, "PPP"},
        {10, "FDDI"},
        {kRawIp, "raw IP"},
        {104, "Cisco HDLC"},
        {105, "802.11"},
        {kOpenBsdLoopback, "OpenBSD loopback"},
        {kLinuxCooked, "Linux cooked"},
        {127, "802.11 with radiotap"},
        {147, "user 0"},
        {187, "Bluetooth H4"},
        {189, "USB, Linux"},
        {195, "802.15.4"},
        {220, "USB, Linux, padded"},
        {227, "CAN"},
        {kIpv4, "IPv4"},
        {kIpv6, "IPv6"},
        {kDbus, "D-Bus"},
        {239, "netfilter log"},
        {kUsbPcap, "USBPcap"},
        {253, "netlink"},
        {kLinuxCooked2, "Linux cooked v2"}};
    for (const auto& [number, name] : kNames) {
        if (number == linkType) {
            return std::to_string(linkType) + " (" + name + ")";
        }
    }
    return std::to_string(linkType);
}

}  // namespace velora::formats::link_type
