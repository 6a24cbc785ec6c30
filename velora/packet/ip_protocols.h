// Numbers of the protocols that IPv4 and IPv6 carry. They are those of
// https://www.iana.org/assignments/protocol-numbers; only those have a name that some code here
// treats in a way of its own, or that nearly every capture has.

#pragma once

#include <cstdint>

namespace velora::packet::ip_protocol {

// What stands behind the IP header.
inline constexpr std::uint8_t kIcmp = 1;
inline constexpr std::uint8_t kTcp = 6;
inline constexpr std::uint8_t kUdp = 17;
inline constexpr std::uint8_t kDccp = 33;
inline constexpr std::uint8_t kIcmpv6 = 58;
inline constexpr std::uint8_t kSctp = 132;
inline constexpr std::uint8_t kUdpLite = 136;

// The extension headers of IPv6 (RFC 8200, RFC 4302) that lead on to a further one.
inline constexpr std::uint8_t kHopByHop = 0;
inline constexpr std::uint8_t kRouting = 43;
inline constexpr std::uint8_t kFragment = 44;
inline constexpr std::uint8_t kAuthentication = 51;
inline constexpr std::uint8_t kDestinationOptions = 60;

}  // namespace velora::packet::ip_protocol
