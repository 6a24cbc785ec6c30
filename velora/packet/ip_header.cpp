#include "velora/packet/ip_header.h"

#include <algorithm>

#include "velora/formats/byte_order.h"
#include "velora/packet/ip_protocols.h"

namespace velora::packet {

namespace {

using formats::LoadBig;
using Bytes = std::span<const std::uint8_t>;

// Offsets in an IPv4 header, and in one of IPv6.
constexpr std::size_t kTotalLength = 2;
constexpr std::size_t kFragmentField = 6;
constexpr std::size_t kProtocol = 9;
constexpr unsigned kFragmentOffsetMask = 0x1FFF;
constexpr std::size_t kPayloadLength = 4;
constexpr std::size_t kNextHeader = 6;

// IPv4 options. All but the first two are type, length of the whole option, and data; a source
// route has a pointer to the next stop (counted from 1, at the type), then the stops.
constexpr std::uint8_t kEndOfOptions = 0;
constexpr std::uint8_t kNoOperation = 1;
constexpr std::uint8_t kLooseSourceRoute = 131;
constexpr std::uint8_t kStrictSourceRoute = 137;
constexpr std::size_t kShortestRoute = 7;  // one stop

// Extension headers of IPv6: the next header, and, but in a fragment header, the own length. Then
// come in a routing header its type and the stops ahead, in a fragment header the offset.
constexpr std::size_t kShortestExtension = 8;
constexpr std::size_t kSegmentsLeft = 3;
constexpr std::size_t kFragmentOffset = 2;
constexpr unsigned kIpv6FragmentOffsetMask = 0xFFF8;

// Whether the destination in the header is a stop on the way to another. Options that are damaged
// end the search.
bool HasRouteAhead(Bytes options) {
    while (!options.empty() && options[0] != kEndOfOptions) {
        std::size_t length = 1;
        if (options[0] != kNoOperation) {
            length = options.size() >= 2 ? options[1] : 0;
            if (length < 2 || length > options.size()) {
                return false;
            }
            if (options[0] == kLooseSourceRoute || options[0] == kStrictSourceRoute) {
                return length >= kShortestRoute && options[2] <= length;
            }
        }
        options = options.subspan(length);
    }
    return false;
}

// Where the packet ends among its captured bytes. A length of 0 says nothing: it is left to the
// network card (segmentation offload), or told by an option (jumbograms).
std::size_t EndOf(Bytes packet, std::size_t length) {
    return length == 0 ? packet.size() : std::min(packet.size(), length);
}

UpperLayer BehindIpv4(Bytes packet) {
    const std::size_t headerLength = std::size_t{packet[0] & 0x0FU} * 4;
    const std::size_t end = EndOf(packet, LoadBig<std::uint16_t>(&packet[kTotalLength]));
    const std::size_t optionsEnd = std::min(packet.size(), headerLength);
    return {.protocol = packet[kProtocol],
            .begin = std::min(headerLength, end),
            .end = end,
            .isLaterFragment =
                (LoadBig<std::uint16_t>(&packet[kFragmentField]) & kFragmentOffsetMask) != 0,
            .hasRouteAhead = HasRouteAhead(packet.first(optionsEnd).subspan(kShortestIpv4Header))};
}

// The length of an extension header of this type that begins with these 8 bytes or more; 0 for a
// protocol that is none.
std::size_t ExtensionLength(std::uint8_t protocol, Bytes header) {
    switch (protocol) {
        case ip_protocol::kHopByHop:
        case ip_protocol::kRouting:
        case ip_protocol::kDestinationOptions:
            return (header[1] + std::size_t{1}) * 8;
        case ip_protocol::kAuthentication:
            return (header[1] + std::size_t{2}) * 4;
        case ip_protocol::kFragment:
            return kShortestExtension;
        default:
            return 0;
    }
}

UpperLayer BehindIpv6(Bytes packet) {
    const std::size_t length = LoadBig<std::uint16_t>(&packet[kPayloadLength]);
    UpperLayer layer{.protocol = packet[kNextHeader],
                     .begin = kIpv6Header,
                     .end = EndOf(packet, length == 0 ? 0 : kIpv6Header + length)};
    while (!layer.isLaterFragment && layer.end - layer.begin >= kShortestExtension) {
        const Bytes header = packet.subspan(layer.begin, layer.end - layer.begin);
        const std::size_t headerLength = ExtensionLength(layer.protocol, header);
        if (headerLength == 0 || headerLength > header.size()) {
            break;
        }
        if (layer.protocol == ip_protocol::kRouting && header[kSegmentsLeft] != 0) {
            layer.hasRouteAhead = true;
        }
        layer.isLaterFragment =
            layer.protocol == ip_protocol::kFragment &&
            (LoadBig<std::uint16_t>(&header[kFragmentOffset]) & kIpv6FragmentOffsetMask) != 0;
        layer.protocol = header[0];
        layer.begin += headerLength;
    }
    return layer;
}

}  // namespace

UpperLayer FindUpperLayer(Bytes captured, IpPlace place) {
    const Bytes packet = captured.subspan(place.offset);
    UpperLayer layer = place.version == 4 ? BehindIpv4(packet) : BehindIpv6(packet);
    layer.begin += place.offset;
    layer.end += place.offset;
    return layer;
}

}  // namespace velora::packet
