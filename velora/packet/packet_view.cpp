#include "velora/packet/packet_view.h"

#include "velora/formats/byte_order.h"
#include "velora/packet/ip_header.h"

namespace velora::packet {

namespace {

constexpr std::size_t kDestinationPort = 2;
constexpr std::size_t kPortSize = 2;

bool HasPorts(std::uint8_t protocol) {
    switch (protocol) {
        case ip_protocol::kTcp:
        case ip_protocol::kUdp:
        case ip_protocol::kDccp:
        case ip_protocol::kSctp:
        case ip_protocol::kUdpLite:
            return true;
        default:
            return false;
    }
}

std::optional<std::uint16_t> PortAt(std::span<const std::uint8_t> payload, std::size_t offset) {
    return payload.size() >= offset + kPortSize
               ? std::optional(formats::LoadBig<std::uint16_t>(&payload[offset]))
               : std::nullopt;
}

}  // namespace

std::optional<PacketView> PacketView::Of(std::uint32_t linkType,
                                         std::span<const std::uint8_t> captured) {
    const std::optional<IpPlace> place = FindIp(linkType, captured);
    if (!place) {
        return std::nullopt;
    }
    const UpperLayer layer = FindUpperLayer(captured, *place);
    PacketView view{
        .source = LoadAddress(&captured[SourceOffset(*place)], place->version),
        .destination = LoadAddress(&captured[DestinationOffset(*place)], place->version),
        .version = place->version,
        .protocol = layer.protocol,
        .isLaterFragment = layer.isLaterFragment,
        .payload = captured.subspan(layer.begin, layer.end - layer.begin)};
    if (HasPorts(layer.protocol) && !layer.isLaterFragment) {
        view.sourcePort = PortAt(view.payload, 0);
        view.destinationPort = PortAt(view.payload, kDestinationPort);
    }
    return view;
}

}  // namespace velora::packet
