#include "velora/packet/address_rewrite.h"

#include "velora/formats/byte_order.h"
#include "velora/packet/checksum_update.h"
#include "velora/packet/ip_place.h"

namespace velora::packet {

namespace {

using formats::LoadBig;
using formats::StoreBig;
using Bytes = std::span<const std::uint8_t>;

// Offsets in an IPv4 header (RFC 791).
constexpr std::size_t kTotalLength = 2;
constexpr std::size_t kFragment = 6;
constexpr std::size_t kProtocol = 9;
constexpr std::size_t kHeaderSum = 10;
constexpr std::size_t kSource = 12;
constexpr std::size_t kDestination = 16;
constexpr unsigned kFragmentOffsetMask = 0x1FFF;

// Protocol numbers, and where their checksums stand in their headers.
constexpr std::uint8_t kTcp = 6;
constexpr std::uint8_t kUdp = 17;
constexpr std::uint8_t kDccp = 33;
constexpr std::uint8_t kUdpLite = 136;
constexpr std::size_t kTcpSum = 16;
constexpr std::size_t kOtherSum = 6;
constexpr std::size_t kSumSize = 2;

// IPv4 options. All but the first two are type, length of the whole option, and data; a source
// route has a pointer to the next stop (counted from 1, at the type), then the stops.
constexpr std::uint8_t kEndOfOptions = 0;
constexpr std::uint8_t kNoOperation = 1;
constexpr std::uint8_t kLooseSourceRoute = 131;
constexpr std::uint8_t kStrictSourceRoute = 137;
constexpr std::size_t kShortestRoute = 7;  // one stop

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

}  // namespace

std::optional<AddressRewrite> AddressRewrite::Plan(std::uint32_t linkType, Bytes captured) {
    const std::optional<std::size_t> header = FindIpv4(linkType, captured);
    return header ? std::optional(AddressRewrite(captured, *header)) : std::nullopt;
}

AddressRewrite::AddressRewrite(Bytes captured, std::size_t header)
    : m_Header(header),
      m_Source(LoadBig<std::uint32_t>(&captured[header + kSource])),
      m_Destination(LoadBig<std::uint32_t>(&captured[header + kDestination])),
      m_HeaderSum(LoadBig<std::uint16_t>(&captured[header + kHeaderSum])),
      m_Transport(FindTransportSum(captured, header)) {}

AddressRewrite::TransportSum AddressRewrite::FindTransportSum(Bytes captured, std::size_t header) {
    const Bytes packet = captured.subspan(header);
    const std::uint8_t protocol = packet[kProtocol];
    const bool isZeroNone = protocol == kUdp || protocol == kUdpLite;
    if (protocol != kTcp && protocol != kDccp && !isZeroNone) {
        return {};
    }
    const std::size_t headerLength = std::size_t{packet[0] & 0x0FU} * 4;
    const std::size_t at = headerLength + (protocol == kTcp ? kTcpSum : kOtherSum);
    const std::size_t totalLength = LoadBig<std::uint16_t>(&packet[kTotalLength]);
    if (at + kSumSize > packet.size() || (totalLength != 0 && at + kSumSize > totalLength) ||
        (LoadBig<std::uint16_t>(&packet[kFragment]) & kFragmentOffsetMask) != 0) {
        return {};
    }
    const std::uint16_t sum = LoadBig<std::uint16_t>(&packet[at]);
    if (sum == 0 && isZeroNone) {
        return {};
    }
    const Bytes options = packet.subspan(kShortestIpv4Header, headerLength - kShortestIpv4Header);
    return {header + at, sum, isZeroNone, !HasRouteAhead(options)};
}

void AddressRewrite::Apply(std::uint32_t source, std::uint32_t destination,
                           std::span<std::uint8_t> packet) const {
    const std::uint32_t sourceChange = ChecksumChange(m_Source, source);
    const std::uint32_t bothChange = sourceChange + ChecksumChange(m_Destination, destination);
    StoreBig<std::uint32_t>(&packet[m_Header + kSource], source);
    StoreBig<std::uint32_t>(&packet[m_Header + kDestination], destination);
    StoreBig<std::uint16_t>(&packet[m_Header + kHeaderSum],
                            UpdatedChecksum(m_HeaderSum, bothChange));
    if (m_Transport.at != 0) {
        const std::uint16_t sum = UpdatedChecksum(
            m_Transport.captured, m_Transport.coversDestination ? bothChange : sourceChange);
        StoreBig<std::uint16_t>(&packet[m_Transport.at],
                                sum == 0 && m_Transport.isZeroNone ? 0xFFFF : sum);
    }
}

}  // namespace velora::packet
