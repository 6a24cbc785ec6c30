// Internet checksums (RFC 1071) brought up to date by difference, as RFC 1624 does it: when some of
// the data that a checksum covers changes, the new checksum follows from the old one and the change
// alone. So it can be done when the rest of the data was not captured, and a checksum that was
// wrong stays wrong by the same amount.
//
// Such sums are numbers modulo 65535, in which 0x0000 and 0xFFFF are the same: "right" and "the
// same amount" are meant so. Which of the two forms stands in a packet is the protocol's affair:
//   IPv4, TCP, DCCP, ICMPv6   0x0000. Data that is not all zero never gives 0xFFFF (and some
//                             readers find fault with it), and all of these cover a byte that is
//                             never zero.
//   UDP, UDP-Lite             0xFFFF, since 0x0000 says "no checksum" (RFC 768; RFC 3828 forbids
//                             it).
//
// Example, from RFC 1624: one word of an IPv4 header changes from 0x5555 to 0x3285.
//     UpdatedChecksum(0xDD2F, ChecksumChange(0x5555, 0x3285)) == 0x0000

#pragma once

#include <cstdint>

namespace velora::packet {

// What it means to a checksum that four bytes, which begin at an even offset of what it covers,
// change from one value to another, both read in network order. The changes of several places are
// added up (up to 8000 of them).
[[nodiscard]] constexpr std::uint32_t ChecksumChange(std::uint32_t from, std::uint32_t to) {
    return (~from >> 16U) + (~from & 0xFFFFU) + (to >> 16U) + (to & 0xFFFFU);
}

// The checksum field, read in network order, after such a change; 0 to 0xFFFE.
[[nodiscard]] constexpr std::uint16_t UpdatedChecksum(std::uint16_t checksum,
                                                      std::uint32_t change) {
    std::uint32_t sum = (~std::uint32_t{checksum} & 0xFFFFU) + change;
    sum = (sum & 0xFFFFU) + (sum >> 16U);
    sum = (sum & 0xFFFFU) + (sum >> 16U);
    return sum == 0 ? std::uint16_t{0} : static_cast<std::uint16_t>(~sum);
}

}  // namespace velora::packet
