#include "velora/packet/address_rewrite.h"

#include <algorithm>

#include "velora/formats/byte_order.h"
#include "velora/packet/checksum_update.h"
#include "velora/packet/ip_header.h"
#include "velora/packet/ip_protocols.h"

namespace velora::packet {

namespace {

using formats::LoadBig;
using formats::StoreBig;
using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kHeaderSum = 10;  // in a header of IPv4
constexpr std::size_t kSumSize = 2;

// Where in the protocol's header the checksum stands that covers addresses of this version.
std::optional<std::size_t> SumOffset(std::uint8_t protocol, std::uint8_t version) {
    switch (protocol) {
        case ip_protocol::kTcp:
            return 16;
        case ip_protocol::kUdp:
        case ip_protocol::kDccp:
        case ip_protocol::kUdpLite:
            return 6;
        case ip_protocol::kIcmpv6:
            return version == 6 ? std::optional<std::size_t>(2) : std::nullopt;
        default:
            return std::nullopt;
    }
}

// What it means to a checksum that an address changes to another one of its version.
std::uint32_t AddressChange(const IpAddress& from, const IpAddress& to) {
    std::uint32_t change = 0;
    for (std::size_t at = 0; at < from.Bytes().size(); at += sizeof(std::uint32_t)) {
        change += ChecksumChange(LoadBig<std::uint32_t>(&from.Bytes()[at]),
                                 LoadBig<std::uint32_t>(&to.Bytes()[at]));
    }
    return change;
}

}  // namespace

std::optional<AddressRewrite> AddressRewrite::Plan(std::uint32_t linkType, Bytes captured) {
    const std::optional<IpPlace> place = FindIp(linkType, captured);
    return place ? std::optional(AddressRewrite(captured, *place)) : std::nullopt;
}

AddressRewrite::AddressRewrite(Bytes captured, IpPlace place)
    : m_Size(captured.size()),
      m_Place(place),
      m_Source(LoadAddress(&captured[SourceOffset(place)], place.version)),
      m_Destination(LoadAddress(&captured[DestinationOffset(place)], place.version)),
      m_Transport(FindTransportSum(captured, place)) {
    if (place.version == 4) {
        m_HeaderSum = LoadBig<std::uint16_t>(&captured[place.offset + kHeaderSum]);
    }
}

AddressRewrite::TransportSum AddressRewrite::FindTransportSum(Bytes captured, IpPlace place) {
    const UpperLayer layer = FindUpperLayer(captured, place);
    const std::optional<std::size_t> offset = SumOffset(layer.protocol, place.version);
    if (!offset || layer.isLaterFragment || *offset + kSumSize > layer.end - layer.begin) {
        return {};
    }
    const std::size_t at = layer.begin + *offset;
    const auto sum = LoadBig<std::uint16_t>(&captured[at]);
    const bool isZeroNone =
        layer.protocol == ip_protocol::kUdp || layer.protocol == ip_protocol::kUdpLite;
    if (sum == 0 && isZeroNone) {
        return {};
    }
    return {at, sum, isZeroNone, !layer.hasRouteAhead};
}

bool AddressRewrite::Apply(const IpAddress& source, const IpAddress& destination,
                           std::span<std::uint8_t> packet) const {
    if (source.Version() != m_Place.version || destination.Version() != m_Place.version) {
        return false;
    }
    if (m_Place.version == 4) {
        return Apply(source.Number(), destination.Number(), packet);
    }
    if (packet.size() < m_Size) {
        return false;
    }
    std::copy(source.Bytes().begin(), source.Bytes().end(), &packet[SourceOffset(m_Place)]);
    std::copy(destination.Bytes().begin(), destination.Bytes().end(),
              &packet[DestinationOffset(m_Place)]);
    StoreTransportSum(AddressChange(m_Source, source), AddressChange(m_Destination, destination),
                      packet);
    return true;
}

bool AddressRewrite::Apply(std::uint32_t source, std::uint32_t destination,
                           std::span<std::uint8_t> packet) const {
    if (m_Place.version != 4 || packet.size() < m_Size) {
        return false;
    }
    const std::uint32_t sourceChange = ChecksumChange(m_Source.Number(), source);
    const std::uint32_t destinationChange = ChecksumChange(m_Destination.Number(), destination);
    StoreBig<std::uint32_t>(&packet[SourceOffset(m_Place)], source);
    StoreBig<std::uint32_t>(&packet[DestinationOffset(m_Place)], destination);
    StoreBig<std::uint16_t>(&packet[m_Place.offset + kHeaderSum],
                            UpdatedChecksum(m_HeaderSum, sourceChange + destinationChange));
    StoreTransportSum(sourceChange, destinationChange, packet);
    return true;
}

void AddressRewrite::StoreTransportSum(std::uint32_t sourceChange, std::uint32_t destinationChange,
                                       std::span<std::uint8_t> packet) const {
    if (m_Transport.at == 0) {
        return;
    }
    const std::uint16_t sum =
        UpdatedChecksum(m_Transport.captured,
                        sourceChange + (m_Transport.coversDestination ? destinationChange : 0));
    StoreBig<std::uint16_t>(&packet[m_Transport.at],
                            sum == 0 && m_Transport.isZeroNone ? 0xFFFF : sum);
}

}  // namespace velora::packet
