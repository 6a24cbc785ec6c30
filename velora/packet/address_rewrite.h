// AddressRewrite: gives the IPv4 or IPv6 packet of a record other addresses, and puts every
// checksum that covers them right.
//
// Example, of packets that are not to tell who sent them to whom; a whole program is
// docs/examples/rewrite_addresses.cpp:
//     std::vector<std::uint8_t> bytes(record.Bytes().begin(), record.Bytes().end());
//     if (const auto rewrite = AddressRewrite::Plan(record)) {
//         const IpAddress source = AliasOf(rewrite->Source());  // of the same version
//         const IpAddress destination = AliasOf(rewrite->Destination());
//         if (!rewrite->Apply(source, destination, bytes)) {
//             return false;  // it was not
//         }
//     }
//     Write(record.WithBytes(bytes));
//
// Changed are the two addresses of the outermost IP header, the header checksum of IPv4, and the
// checksum of the TCP, UDP, UDP-Lite, DCCP or, in IPv6, ICMPv6 header behind it; nothing else, and
// no length. The checksums are updated by difference (RFC 1624), so one that was right stays right,
// one that was wrong stays wrong by the same amount, and a payload that was cut off does not
// matter.
//
// A transport checksum is left as it is where there is none to update:
//   - it was not captured, or only one of its bytes was, or an extension header in front of it was
//     not captured whole;
//   - the packet is a later fragment, which has no transport header;
//   - it would lie beyond the length that the IP header tells (bytes there are padding of the
//     link), unless that length is 0, as captures of segmentation offload have it;
//   - a UDP or UDP-Lite checksum of 0, which says that there is none.
// It is updated for the source only where the header's destination is but a stop on a route: a
// source route of IPv4 with stops ahead, or a routing header of IPv6 with segments left. Transport
// checksums cover the last address of the route (RFC 791, RFC 9293; RFC 8200, 8.1), which stays.
// Other options and extension headers are stepped over.
//
// Not looked at is the home address option of IPv6 (RFC 6275): with it a transport checksum covers
// the address in the option instead of the header's source, and is updated as if it did not. Also
// left as they are: frame check sequences of the link, what authentication headers vouch for, the
// checksums of other protocols, and whatever repeats addresses further in (options, routes, ICMP
// errors, neighbour discovery, tunnels, application data).
//
// A plain value that points to nothing; one object may serve several threads.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "velora/capture/record.h"
#include "velora/packet/ip_address.h"
#include "velora/packet/ip_place.h"
#include "velora/utils/api.h"

namespace velora::packet {

class VELORA_API AddressRewrite {
 public:
    // Looks once at a record: at its captured bytes, any bytes, and its link type, as FindIp
    // (velora/packet/ip_place.h) takes them. Nothing when that finds no IP header.
    [[nodiscard]] static std::optional<AddressRewrite> Plan(const capture::Record& record) {
        return Plan(record.interface->linkType, record.Bytes());
    }
    [[nodiscard]] static std::optional<AddressRewrite> Plan(std::uint32_t linkType,
                                                            std::span<const std::uint8_t> captured);

    // The same where the place is known: FindIp gave it for these bytes.
    AddressRewrite(std::span<const std::uint8_t> captured, IpPlace place);

    // The addresses that were captured, both of one version.
    [[nodiscard]] const IpAddress& Source() const { return m_Source; }
    [[nodiscard]] const IpAddress& Destination() const { return m_Destination; }

    // Writes these addresses, and the checksums that follow, into `packet`: the bytes that were
    // planned for, or a copy of them, all of them. What is written does not depend on what stood in
    // those places, so one packet can be given many pairs of addresses, one after the other.
    //
    // False, and nothing is written, where one of the addresses is of the other version than the
    // packet, or there are fewer bytes than were planned for.
    [[nodiscard]] bool Apply(const IpAddress& source, const IpAddress& destination,
                             std::span<std::uint8_t> packet) const;

    // The same with addresses of IPv4 as numbers: 192.168.7.2 is 0xC0A80702.
    [[nodiscard]] bool Apply(std::uint32_t source, std::uint32_t destination,
                             std::span<std::uint8_t> packet) const;

 private:
    // A transport checksum that covers the addresses.
    struct TransportSum {
        std::size_t at = 0;  // its offset in the packet; 0: there is none to update
        std::uint16_t captured = 0;
        bool isZeroNone = false;         // a computed 0 is written as 0xFFFF
        bool coversDestination = false;  // of the IP header
    };

    static TransportSum FindTransportSum(std::span<const std::uint8_t> captured, IpPlace place);
    void StoreTransportSum(std::uint32_t sourceChange, std::uint32_t destinationChange,
                           std::span<std::uint8_t> packet) const;

    std::size_t m_Size;  // of what was planned for
    IpPlace m_Place;
    IpAddress m_Source;
    IpAddress m_Destination;
    std::uint16_t m_HeaderSum = 0;  // of IPv4
    TransportSum m_Transport;
};

}  // namespace velora::packet
