// Views are held against what packets were put together from, copies and rewritten packets against
// packets put together anew, all sums counted from nothing.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/packet/naive_checksum.h"
#include "tests/packet/view_text.h"
#include "velora/packet/address_copies.h"
#include "velora/packet/checksum_update.h"
#include "velora/utils/hex_text.h"

namespace velora::packet {
namespace {

constexpr std::uint32_t kInside = 0xC0A80000;  // 192.168.0.0, the first of those that are copied
constexpr std::uint32_t kLast = 0xC0A8FFFF;
constexpr std::uint32_t kOutside = 0xCB007109;  // 203.0.113.9
enum : std::uint8_t { kIcmp = 1, kTcp = 6, kUdp = 17, kDccp = 33, kIcmpv6 = 58, kUdpLite = 136 };

// What stands in front of the IPv4 header.
const struct Link {
    const char* about;
    std::uint32_t type;
    const char* header;
    bool isFound = true;  // what is behind it
} kLinks[] = {
    {.about = "Ethernet", .type = 1, .header = "0200000000010200000000020800"},
    {.about = "five tags", .type = 1, .header = "0200000000010200000000028100000181000002910000038100000488A800050800"},
    {.about = "a tag of another kind", .type = 1, .header = "020000000001020000000002920000010800", .isFound = false},
    {.about = "IPv6's type", .type = 1, .header = "02000000000102000000000286DD", .isFound = false},
    {.about = "cooked, two tags", .type = 113, .header = "000000010006020000000001000088A80001810000020800"},
    {.about = "Frame Relay", .type = 113, .header = "00000302000602000000000100000800", .isFound = false},
    {.about = "radiotap", .type = 113, .header = "00000323000602000000000100000800", .isFound = false},
    {.about = "cooked 2, two tags", .type = 276, .header = "81000000000000020001000602000000000100000001910000020800"},
    {.about = "netlink", .type = 276, .header = "0800000000000002033800060200000000010000", .isFound = false},
    {.about = "loopback, little-endian", .type = 0, .header = "02000000"},
    {.about = "loopback, big-endian", .type = 0, .header = "00000002"},
    {.about = "loopback, no family", .type = 0, .header = "00020000", .isFound = false},
    {.about = "OpenBSD loopback", .type = 108, .header = "02000000"},
    {.about = "raw by an old number", .type = 14, .header = ""},
    {.about = "IPv4", .type = 228, .header = ""},
    {.about = "version 6", .type = 228, .header = "650000140000000040010000C0A80001C0A80002", .isFound = false},
    {.about = "4 words", .type = 228, .header = "440000140000000040010000C0A80001C0A80002", .isFound = false},
    {.about = "a link type nobody knows", .type = 147, .header = "", .isFound = false},
};

const struct Body {
    [[nodiscard]] std::size_t HeaderLength() const { return 20 + options.size() / 2; }
    [[nodiscard]] std::size_t End() const { return totalLength.value_or(0) == 0 ? HeaderLength() + 23 : *totalLength; }
    [[nodiscard]] std::size_t SumAt() const { return HeaderLength() + (protocol == kTcp ? 16 : 6); }

    const char* about;
    std::uint8_t protocol;
    bool isSumKept = false;  // the transport sum is to stay as it was
    std::string options = {};
    std::uint16_t fragment = 0;
    std::optional<std::size_t> totalLength = {};  // where it is not the true one
    std::uint16_t wrongBy = 0;                    // both sums
    bool isRouteAhead = false;                    // the transport sum covers the last of the stops
    std::uint16_t lastWord = 0x1234;
} kBodies[] = {
    {.about = "TCP", .protocol = kTcp},
    {.about = "a protocol without such a sum", .protocol = kIcmp, .isSumKept = true},
    {.about = "IPv6's ICMP", .protocol = kIcmpv6, .isSumKept = true},
    {.about = "wrong by the most", .protocol = kUdp, .wrongBy = 65534},
    {.about = "the most options", .protocol = kUdp, .options = "0727" + std::string(76, '0')},
    {.about = "a fragment far behind", .protocol = kTcp, .isSumKept = true, .fragment = 0x1000},
    {.about = "length 0", .protocol = kTcp, .totalLength = 0},
    {.about = "length ends within TCP's sum", .protocol = kTcp, .isSumKept = true, .totalLength = 37},
    {.about = "length ends behind TCP's sum", .protocol = kTcp, .totalLength = 38},
    {.about = "length ends within the options",
     .protocol = kTcp,
     .isSumKept = true,
     .options = "0101010101010101",
     .totalLength = 22},
    {.about = "length beyond the packet", .protocol = kDccp, .totalLength = 65535},
    {.about = "route ahead", .protocol = kTcp, .options = "01830704C0A80507", .isRouteAhead = true},
    {.about = "strict, last stop", .protocol = kUdp, .options = "890B0801020304C0A8050700", .isRouteAhead = true},
    {.about = "finished route", .protocol = kTcp, .options = "01830708C0A80507"},
    {.about = "no room for a stop", .protocol = kTcp, .options = "83060401C0A80000"},
    {.about = "route behind the end", .protocol = kTcp, .options = "0002830704C0A80507000000"},
    {.about = "route behind an option of length 1", .protocol = kTcp, .options = "0701830704C0A80507000000"},
    {.about = "route longer than the options", .protocol = kTcp, .options = "01830804C0A80507"},
};

// The packet, its transport sum over two addresses that need not be those of the header.
std::string Packet(const Body& body, std::uint32_t from, std::uint32_t to, std::uint32_t sumFrom, std::uint32_t sumTo) {
    const std::size_t length = body.HeaderLength();
    std::string segment = MiscUtils::HexToBytes("04D214E9000000000000000150100200") + Big(6, body.lastWord) + "\xAB";
    std::string header = Big(2, 0x4000 + length * 64) + Big(2, body.totalLength.value_or(length + segment.size())) +
                         Big(4, body.fragment) + Big(4, 0x40000000U + body.protocol * 65536U) + Big(4, from) +
                         Big(4, to) + MiscUtils::HexToBytes(body.options);
    header.replace(10, 2, Big(2, NaiveChecksum(SumOfWords(header) + 65535 - body.wrongBy, 0)));
    const std::string pseudoHeader = Big(4, sumFrom) + Big(4, body.isRouteAhead ? 0xC0A80507 : sumTo) +
                                     Big(4, body.protocol * 65536U + segment.size());
    const std::uint16_t zero = body.protocol == kUdp || body.protocol == kUdpLite ? 0xFFFF : 0;
    const std::uint16_t sum = NaiveChecksum(SumOfWords(pseudoHeader + segment) + 65535 - body.wrongBy, zero);
    segment.replace(body.SumAt() - length, 2, Big(2, sum));
    return header + segment;
}

std::uint32_t Moved(std::uint32_t address, unsigned network) {
    return address / 65536 == 0xC0A8 ? (0x0A00 + network) * 65536U + address % 65536 : address;
}

// The ten copies of the record, cut at every length.
void CheckAllCuts(const Link& link, const Body& body, std::uint32_t from, std::uint32_t to) {
    const std::string front = MiscUtils::HexToBytes(link.header);
    const std::string whole = front + Packet(body, from, to, from, to);
    for (std::uint8_t network = 0; network < AddressCopies::kNetworks; ++network) {
        const std::uint32_t newFrom = Moved(from, network);
        const std::uint32_t newTo = Moved(to, network);
        const std::string updated = front + Packet(body, newFrom, newTo, newFrom, newTo);
        const std::string kept = front + Packet(body, newFrom, newTo, from, to);
        SCOPED_TRACE(std::string(link.about) + ", " + body.about);
        for (std::size_t cut = 0; cut <= whole.size(); ++cut) {
            const bool isCopied = link.isFound && cut >= front.size() + 20 && (newFrom != from || newTo != to);
            const bool isKept = body.isSumKept || cut < front.size() + body.SumAt() + 2;
            const std::vector<std::uint8_t> captured(whole.data(),
                                                     whole.data() + cut);  // sanitizers see what reads past it
            std::vector<std::uint8_t> copy = captured;
            const auto copies = AddressCopies::Plan(link.type, copy);
            ASSERT_EQ(copies.has_value(), isCopied) << "cut to " << cut;
            if (copies) {
                copies->Apply(network, copy);
                ASSERT_EQ(std::string(copy.begin(), copy.end()), (isKept ? kept : updated).substr(0, cut))
                    << "cut to " << cut;
                const std::vector<std::uint8_t> expected = copy;
                copies->Apply(static_cast<std::uint8_t>(9 - network), copy);
                const auto rewrite = AddressRewrite::Plan(link.type, captured);
                ASSERT_TRUE(rewrite && rewrite->Apply(IpAddress(newFrom), IpAddress(newTo), copy));
                ASSERT_EQ(copy, expected);
            }
        }
    }
}

TEST(PacketViewTest, OfIpv4HasTheCapturedPayload) {
    for (const Link& link : kLinks) {
        const std::string front = MiscUtils::HexToBytes(link.header);
        for (const Body& body : kBodies) {
            const std::string whole = front + Packet(body, kInside, kOutside, kInside, kOutside);
            const bool isLater = body.fragment != 0;
            const bool hasPorts = body.protocol != kIcmp && body.protocol != kIcmpv6 && !isLater;
            const std::string head = "192.168.0.0 > 203.0.113.9, protocol " + std::to_string(body.protocol) +
                                     (isLater ? ", later fragment" : "");
            for (std::size_t cut = 0; cut <= whole.size(); ++cut) {
                const std::vector<std::uint8_t> captured(whole.data(), whole.data() + cut);
                const bool isViewed = link.isFound && cut >= front.size() + 20;
                const std::string payload =
                    PayloadText(hasPorts, front.size() + body.HeaderLength(), front.size() + body.End(), cut);
                ASSERT_EQ(ViewText(link.type, captured), isViewed ? head + payload : "none")
                    << link.about << ", " << body.about << ", cut to " << cut;
            }
        }
    }
}

TEST(AddressCopiesTest, AreAsIfPutTogetherAnew) {
    const std::pair<std::uint32_t, std::uint32_t> pairs[] = {
        {kInside, kOutside}, {kOutside, kLast}, {kInside, kLast}, {kInside - 1, kLast + 1}, {0xC1A80001, 0x40A80001}};
    for (const Link& link : kLinks) {
        for (const Body& body : kBodies) {
            for (const auto& [from, to] : pairs) {
                ASSERT_NO_FATAL_FAILURE(CheckAllCuts(link, body, from, to));
            }
        }
    }
}

TEST(AddressCopiesTest, WriteZeroAsTheProtocolDoes) {
    for (const std::uint8_t protocol : {kTcp, kUdp, kUdpLite, kDccp}) {
        for (const std::uint32_t from : {kInside, Moved(kInside, 0), Moved(kInside, 9)}) {
            Body body{.about = "zero", .protocol = protocol, .lastWord = 0};
            // The sum as one of the words that it covers makes it zero.
            const std::string packet = Packet(body, from, kOutside, from, kOutside);
            body.lastWord = static_cast<std::uint16_t>(SumOfWords(packet.substr(body.SumAt(), 2)));
            ASSERT_NO_FATAL_FAILURE(CheckAllCuts(kLinks[0], body, kInside, kOutside));
        }
    }
}

static_assert(UpdatedChecksum(0xFFFF, ChecksumChange(0xFFFFFFFF, 0)) == 0x0000);  // the other form of zero

}  // namespace
}  // namespace velora::packet
