// PacketView: what a captured IP packet says of itself: who sent it to whom, and what it carries.
//
// Example:
//     if (const auto packet = PacketView::Of(record)) {
//         if (packet->protocol == ip_protocol::kUdp && packet->destinationPort == 53) {
//             Use(packet->source.Text(), packet->payload);
//         }
//     }
//
// The packet is the outermost one of IPv4 or IPv6 (velora/packet/ip_place.h says behind which link
// headers it is found); what a tunnel carries is payload. Any bytes are taken: the walk is linear
// in what was captured, and looks at nothing else.

#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "velora/capture/record.h"
#include "velora/packet/ip_address.h"
#include "velora/packet/ip_protocols.h"
#include "velora/utils/api.h"

namespace velora::packet {

struct VELORA_API PacketView {
    // Nothing for a record without an IP header that was captured whole (options and extensions
    // may be cut). The view borrows the captured bytes for its payload.
    [[nodiscard]] static std::optional<PacketView> Of(const capture::Record& record) {
        return Of(record.interface->linkType, record.Bytes());
    }
    [[nodiscard]] static std::optional<PacketView> Of(std::uint32_t linkType,
                                                      std::span<const std::uint8_t> captured);

    // As the IP header has them.
    IpAddress source{};
    IpAddress destination{};
    std::uint8_t version = 4;  // 4 or 6

    // What the payload begins with (velora/packet/ip_protocols.h), behind the extension headers
    // of IPv6: hop-by-hop and destination options, routing, fragment and authentication. Where one
    // of these was not captured whole, it is the payload, and this its number.
    std::uint8_t protocol = 0;

    // This is a fragment from the middle or the end of a packet: the payload goes on where another
    // fragment's ended, and has no header of the protocol.
    bool isLaterFragment = false;

    // Of TCP, UDP, SCTP, DCCP and UDP-Lite, where they were captured.
    std::optional<std::uint16_t> sourcePort{};
    std::optional<std::uint16_t> destinationPort{};

    // What was captured of it, without what the link put behind the packet: it ends where the IP
    // header says, or, where that says 0 (as captures of segmentation offload have it, and
    // jumbograms), with the captured bytes.
    std::span<const std::uint8_t> payload{};
};

}  // namespace velora::packet
