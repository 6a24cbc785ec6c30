// Where the IPv4 header stands in the captured bytes of a record.
//
// Found behind these headers (numbers and layouts: https://www.tcpdump.org/linktypes.html):
//   1          Ethernet: EtherType 0x0800
//   113, 276   Linux cooked, versions 1 and 2: protocol type 0x0800, unless the device type
//              (ARPHRD_) says that this field tells nothing of the payload
//   0, 108     BSD loopback: address family 2, in either byte order
//   101, 228   raw IP: nothing stands in front; 12 and 14 count as 101
// Behind the first two any number of VLAN tags (0x8100, 0x88A8, 0x9100) is stepped over. Nothing is
// found behind other link types, LLC, PPPoE or MPLS.
//
// The walk is linear in the number of tags, looks at no byte that was not captured, and takes any
// bytes. A pure function: threads may share it.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace velora::packet {

// An IPv4 header without options, bytes.
inline constexpr std::size_t kShortestIpv4Header = 20;

// The offset of the IPv4 header in `captured`, the captured bytes of a record. `linkType` is the
// link type's number alone, without the bits that tell of frame check sequences.
//
// At the offset, 20 bytes at least were captured, the version is 4 and the header length at least 5
// words (options may be cut, and the lengths further in are not looked at). Nothing when there is
// no such header.
[[nodiscard]] std::optional<std::size_t> FindIpv4(std::uint32_t linkType,
                                                  std::span<const std::uint8_t> captured);

}  // namespace velora::packet
