// Where the IP header stands in the captured bytes of a record.
//
// Found behind these headers (numbers and layouts: https://www.tcpdump.org/linktypes.html):
//   1          Ethernet: EtherType 0x0800 for IPv4, 0x86DD for IPv6
//   113, 276   Linux cooked, versions 1 and 2: the same as protocol type, unless the device type
//              (ARPHRD_) says that this field tells nothing of the payload
//   0, 108     BSD loopback, in either byte order: address family 2 for IPv4, and for IPv6 any of
//              10, 24, 28 and 30, which systems number differently
//   101        raw IP: nothing stands in front, the header's own version tells; 12 and 14 count
//              as 101
//   228, 229   IPv4 alone, IPv6 alone
// Behind the first two any number of VLAN tags (0x8100, 0x88A8, 0x9100) is stepped over. Nothing is
// found behind other link types, LLC, PPPoE or MPLS.
//
// The walk is linear in the number of tags, looks at no byte that was not captured, and takes any
// bytes. Pure functions: threads may share them.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "velora/utils/api.h"

namespace velora::packet {

// An IPv4 header without options, and an IPv6 header without extensions, bytes.
inline constexpr std::size_t kShortestIpv4Header = 20;
inline constexpr std::size_t kIpv6Header = 40;

struct IpPlace {
    std::size_t offset = 0;    // of the header in the captured bytes
    std::uint8_t version = 4;  // 4 or 6
};

// The place of the outermost IP header in `captured`, the captured bytes of a record. `linkType` is
// the link type's number alone, without the bits that tell of frame check sequences.
//
// At the offset, all bytes of the header but for options and extensions were captured, its version
// is the one that is told, and the header length of IPv4 is at least 5 words (options may be cut,
// and the lengths further in are not looked at). Nothing when there is no such header.
[[nodiscard]] VELORA_API std::optional<IpPlace> FindIp(std::uint32_t linkType,
                                                       std::span<const std::uint8_t> captured);

// The offset of the outermost IP header where that is one of IPv4.
[[nodiscard]] VELORA_API std::optional<std::size_t> FindIpv4(
    std::uint32_t linkType, std::span<const std::uint8_t> captured);

}  // namespace velora::packet
