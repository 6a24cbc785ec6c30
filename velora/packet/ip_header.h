// What an IPv4 or IPv6 header says of what stands behind it (RFC 791, RFC 8200).

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "velora/formats/byte_order.h"
#include "velora/packet/ip_address.h"
#include "velora/packet/ip_place.h"

namespace velora::packet {

// The offset of an address among the captured bytes, for the header at `place`.
[[nodiscard]] constexpr std::size_t SourceOffset(IpPlace place) {
    return place.offset + (place.version == 4 ? 12 : 8);
}
[[nodiscard]] constexpr std::size_t DestinationOffset(IpPlace place) {
    return place.offset + (place.version == 4 ? 16 : 24);
}

// The address of this version that stands there.
[[nodiscard]] inline IpAddress LoadAddress(const std::uint8_t* there, std::uint8_t version) {
    if (version == 4) {
        return IpAddress(formats::LoadBig<std::uint32_t>(there));
    }
    std::array<std::uint8_t, IpAddress::kIpv6Size> bytes;
    std::memcpy(bytes.data(), there, bytes.size());
    return IpAddress(bytes);
}

struct UpperLayer {
    std::uint8_t protocol = 0;     // velora/packet/ip_protocols.h
    std::size_t begin = 0;         // its first byte, and the one behind its last, among those that
    std::size_t end = 0;           // were captured: begin <= end <= the number of captured bytes
    bool isLaterFragment = false;  // of its middle or end: there is no header of the protocol
    bool hasRouteAhead = false;    // the header's destination is but a stop on a route
};

// Behind the header at `place`, which FindIp gave for these bytes.
[[nodiscard]] UpperLayer FindUpperLayer(std::span<const std::uint8_t> captured, IpPlace place);

}  // namespace velora::packet
