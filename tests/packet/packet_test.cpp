// Packets are put together in the plainest way, all sums counted from nothing. Views are held against
// what went in, rewritten packets and copies against packets put together anew.

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "tests/packet/naive_checksum.h"
#include "velora/packet/address_copies.h"
#include "velora/packet/checksum_update.h"
#include "velora/packet/packet_view.h"
#include "velora/utils/hex_text.h"

namespace velora::packet {
namespace {

using MiscUtils::HexToBytes;

constexpr std::uint8_t kHopByHop = 0, kIcmp = 1, kTcp = 6, kUdp = 17, kDccp = 33, kRouting = 43, kFragment = 44;
constexpr std::uint8_t kAuthentication = 51, kIcmpv6 = 58, kNoNext = 59, kOptions = 60, kSctp = 132, kUdpLite = 136;

// What stands in front of an IP header of either version.
const struct Link {
    [[nodiscard]] const char* Before(int version) const { return version == 4 ? ipv4 : ipv6; }

    const char* about;
    std::uint32_t type;
    const char* ipv4 = nullptr;
    const char* ipv6 = nullptr;
    bool isFound = true;
} kLinks[] = {
    {.about = "Ethernet", .type = 1, .ipv4 = "0200000000010200000000020800", .ipv6 = "02000000000102000000000286DD"},
    {.about = "five tags", .type = 1, .ipv4 = "0200000000010200000000028100000181000002910000038100000488A800050800"},
    {.about = "one tag", .type = 1, .ipv6 = "0200000000010200000000028100000186DD"},
    {.about = "a tag of another kind", .type = 1, .ipv4 = "020000000001020000000002920000010800", .isFound = false},
    {.about = "IPv6's type", .type = 1, .ipv4 = "02000000000102000000000286DD", .isFound = false},
    {.about = "IPv4's type", .type = 1, .ipv6 = "0200000000010200000000020800", .isFound = false},
    {.about = "cooked, two tags", .type = 113, .ipv4 = "000000010006020000000001000088A80001810000020800"},
    {.about = "cooked", .type = 113, .ipv6 = "000000010006020000000001000086DD"},
    {.about = "Frame Relay", .type = 113, .ipv4 = "00000302000602000000000100000800", .isFound = false},
    {.about = "radiotap", .type = 113, .ipv4 = "00000323000602000000000100000800", .isFound = false},
    {.about = "cooked 2, two tags", .type = 276, .ipv4 = "81000000000000020001000602000000000100000001910000020800"},
    {.about = "cooked 2", .type = 276, .ipv6 = "86DD000000000002000100060200000000010000"},
    {.about = "netlink", .type = 276, .ipv4 = "0800000000000002033800060200000000010000", .isFound = false},
    {.about = "Linux, little-endian", .type = 0, .ipv4 = "02000000", .ipv6 = "0A000000"},
    {.about = "NetBSD, big-endian", .type = 0, .ipv4 = "00000002", .ipv6 = "00000018"},
    {.about = "OpenBSD loopback", .type = 108, .ipv4 = "02000000", .ipv6 = "00000018"},
    {.about = "FreeBSD, little-endian", .type = 0, .ipv6 = "1C000000"},
    {.about = "Darwin, big-endian", .type = 108, .ipv6 = "0000001E"},
    {.about = "another family", .type = 0, .ipv4 = "00020000", .ipv6 = "02000000", .isFound = false},
    {.about = "nobody's family", .type = 0, .ipv4 = "0B000000", .ipv6 = "0B000000", .isFound = false},
    {.about = "raw by an old number", .type = 12, .ipv4 = "", .ipv6 = ""},
    {.about = "raw by another", .type = 14, .ipv4 = "", .ipv6 = ""},
    {.about = "IPv4 alone", .type = 228, .ipv4 = ""},
    {.about = "IPv6 alone", .type = 229, .ipv6 = ""},
    {.about = "version 6", .type = 228, .ipv4 = "650000140000000040010000C0A80001", .ipv6 = "", .isFound = false},
    {.about = "not version 6", .type = 229, .ipv4 = "", .ipv6 = "7000000000003B40", .isFound = false},
    {.about = "4 words", .type = 228, .ipv4 = "440000140000000040010000C0A80001C0A80002", .isFound = false},
    {.about = "a link type nobody knows", .type = 147, .ipv4 = "", .ipv6 = "", .isFound = false},
};

struct Extension {
    std::uint8_t number;
    const char* rest;  // behind the next header's number
};
constexpr const char* kPadding = "00010400000000";
constexpr const char* kRoute = "0200010000000020010DB8000000000000000000000009";        // a segment left
constexpr const char* kRoutePassed = "0203000000000020010DB8000000000000000000000009";  // and none
constexpr Extension kHop{kHopByHop, kPadding};
constexpr Extension kFragment8{kFragment, "00000800000001"};
constexpr Extension kFragmentFar{kFragment, "00FFF900000001"};
constexpr std::size_t kSegment = 23;  // what is behind all headers of IP

const struct Body {
    [[nodiscard]] std::size_t FixedHeader() const { return version == 4 ? 20 : 40; }
    [[nodiscard]] std::size_t Begin() const { return FixedHeader() + Chain().size(); }
    [[nodiscard]] std::size_t End() const {
        return length.value_or(0) == 0 ? Begin() + kSegment : *length + FixedHeader();
    }
    [[nodiscard]] bool KeepsSum() const { return isSumKept || isLaterFragment; }
    [[nodiscard]] std::size_t SumAt() const { return protocol == kTcp ? 16 : protocol == kIcmpv6 ? 2 : 6; }

    // The options of IPv4; the extension headers of IPv6, each with the number of what follows it.
    [[nodiscard]] std::string Chain() const {
        std::string chain = HexToBytes(options);
        for (std::size_t index = 0; index < extensions.size(); ++index) {
            const bool isLast = index + 1 == extensions.size();
            chain += Big(1, isLast ? protocol : extensions[index + 1].number) + HexToBytes(extensions[index].rest);
        }
        return chain;
    }

    const char* about;
    int version = 0;  // of either
    std::uint8_t protocol;
    bool isSumKept = false;  // the transport sum is to stay as it was
    std::string options = {};
    std::vector<Extension> extensions = {};
    std::uint16_t fragment = 0;  // the field of IPv4
    bool isLaterFragment = false;
    bool isRouteAhead = false;               // the transport sum covers the last of the stops
    std::optional<std::size_t> length = {};  // behind the fixed header, where it is not the true one; 0: none at all
    std::uint16_t wrongBy = 0;               // all sums
    bool isWithoutSum = false;
    std::uint16_t lastWord = 0x1234;
} kBodies[] = {
    {.about = "TCP", .protocol = kTcp},
    {.about = "IPv4's ICMP", .protocol = kIcmp, .isSumKept = true},
    {.about = "wrong by the most", .protocol = kUdp, .wrongBy = 65534},
    {.about = "UDP without a sum", .protocol = kUdp, .isSumKept = true, .isWithoutSum = true},
    {.about = "UDP-Lite", .protocol = kUdpLite},
    {.about = "SCTP, with a sum over its own alone", .protocol = kSctp, .isSumKept = true},
    {.about = "length 0", .protocol = kTcp, .length = 0},
    {.about = "length ends within TCP's sum", .protocol = kTcp, .isSumKept = true, .length = 17},
    {.about = "length ends behind TCP's sum", .protocol = kTcp, .length = 18},
    {.about = "length ends within the ports", .protocol = kUdp, .isSumKept = true, .length = 3},
    {.about = "length beyond the packet", .protocol = kDccp, .length = 65000},
    {.about = "IPv6's ICMP", .version = 4, .protocol = kIcmpv6, .isSumKept = true},
    {.about = "the most options", .version = 4, .protocol = kUdp, .options = "0727" + std::string(76, '0')},
    {.about = "a fragment far behind", .version = 4, .protocol = kTcp, .fragment = 0x1000, .isLaterFragment = true},
    {.about = "the first fragment", .version = 4, .protocol = kUdp, .fragment = 0x2000},
    {.about = "ends within options",
     .version = 4,
     .protocol = kTcp,
     .isSumKept = true,
     .options = "01010101",
     .length = 2},
    {.about = "route ahead", .version = 4, .protocol = kTcp, .options = "01830704C0A80507", .isRouteAhead = true},
    {.about = "strict, last stop",
     .version = 4,
     .protocol = kUdp,
     .options = "890B0801020304C0A8050700",
     .isRouteAhead = true},
    {.about = "finished route", .version = 4, .protocol = kTcp, .options = "01830708C0A80507"},
    {.about = "no room for a stop", .version = 4, .protocol = kTcp, .options = "83060401C0A80000"},
    {.about = "route behind the end", .version = 4, .protocol = kTcp, .options = "0002830704C0A80507000000"},
    {.about = "route behind an option of length 1",
     .version = 4,
     .protocol = kTcp,
     .options = "0701830704C0A80507000000"},
    {.about = "route longer than the options", .version = 4, .protocol = kTcp, .options = "01830804C0A80507"},
    {.about = "ICMPv6", .version = 6, .protocol = kIcmpv6},
    {.about = "no next header", .version = 6, .protocol = kNoNext, .isSumKept = true},
    {.about = "one of each",
     .version = 6,
     .protocol = kTcp,
     .extensions = {kHop,
                    {kOptions, "01010C000000000000000000000000"},
                    {kRouting, "00040000000000"},
                    {kFragment, "0000010000000A"},
                    {kAuthentication, "010000000000AB00000001"},
                    {kOptions, kPadding}}},
    {.about = "later fragment", .version = 6, .protocol = kUdp, .extensions = {kFragment8}, .isLaterFragment = true},
    {.about = "of options", .version = 6, .protocol = kOptions, .extensions = {kFragmentFar}, .isLaterFragment = true},
    {.about = "a route", .version = 6, .protocol = kIcmpv6, .extensions = {{kRouting, kRoute}}, .isRouteAhead = true},
    {.about = "a route that was passed", .version = 6, .protocol = kUdp, .extensions = {{kRouting, kRoutePassed}}},
    {.about = "cut options", .version = 6, .protocol = kTcp, .isSumKept = true, .extensions = {kHop}, .length = 7},
};

std::string BytesOf(const IpAddress& address) {
    return {address.Bytes().begin(), address.Bytes().end()};
}

// The packet, its transport sum over two addresses that need not be those of the header.
std::string Packet(const Body& body, const IpAddress& from, const IpAddress& to, const IpAddress& sumFrom,
                   const IpAddress& sumTo) {
    const bool isIpv4 = body.version == 4;
    const std::string chain = body.Chain();
    const std::string stop = HexToBytes(isIpv4 ? "C0A80507" : "20010DB8000000000000000000000009");
    std::string segment = HexToBytes("04D214E9000000000000000150100200") + Big(6, body.lastWord) + "\xAB";
    segment.replace(body.SumAt(), 2, 2, '\0');
    const std::string pseudoHeader =
        BytesOf(sumFrom) + (body.isRouteAhead ? stop : BytesOf(sumTo)) + Big(4, segment.size()) + Big(4, body.protocol);
    const std::uint16_t zero = body.protocol == kUdp || body.protocol == kUdpLite ? 0xFFFF : 0;
    const std::uint16_t sum = NaiveChecksum(SumOfWords(pseudoHeader + segment) + 65535 - body.wrongBy, zero);
    segment.replace(body.SumAt(), 2, Big(2, body.isWithoutSum ? 0 : sum));
    if (!isIpv4) {
        const std::uint8_t next = body.extensions.empty() ? body.protocol : body.extensions[0].number;
        return Big(4, 0x60000000) + Big(2, body.length.value_or(chain.size() + segment.size())) + Big(1, next) +
               "\x40" + BytesOf(from) + BytesOf(to) + chain + segment;
    }
    const std::size_t length = body.length == 0 ? 0 : 20 + body.length.value_or(chain.size() + segment.size());
    std::string header = Big(2, 0x4000 + body.Begin() * 64) + Big(2, length) + Big(4, body.fragment) +
                         Big(4, 0x40000000U + body.protocol * 65536U) + BytesOf(from) + BytesOf(to) + chain;
    header.replace(10, 2, Big(2, NaiveChecksum(SumOfWords(header) + 65535 - body.wrongBy, 0)));
    return header + segment;
}

// What is seen of the record, which was put together behind `front` bytes, and cut there.
void CheckView(const PacketView& view, const Body& body, std::size_t front, std::span<const std::uint8_t> captured) {
    const std::size_t end = std::min(front + body.End(), captured.size());
    std::size_t begin = front + (body.version == 4 ? body.Begin() : body.FixedHeader());
    std::uint8_t protocol = body.extensions.empty() ? body.protocol : body.extensions[0].number;
    for (std::size_t index = 0; index < body.extensions.size(); ++index) {
        const std::size_t size = 1 + std::string_view(body.extensions[index].rest).size() / 2;
        if (begin + size > end) {
            break;
        }
        begin += size;
        protocol = index + 1 < body.extensions.size() ? body.extensions[index + 1].number : body.protocol;
    }
    begin = std::min(begin, end);
    const bool isLater = body.isLaterFragment && protocol == body.protocol;
    const bool hasPorts = !isLater && std::ranges::count(std::array{kTcp, kUdp, kDccp, kSctp, kUdpLite}, protocol) != 0;
    const auto port = [hasPorts](bool isCaptured, std::uint16_t number) {
        return hasPorts && isCaptured ? std::optional(number) : std::nullopt;
    };
    ASSERT_EQ(view.payload.data() - captured.data(), begin);
    ASSERT_EQ(view.payload.size(), end - begin);
    ASSERT_EQ(std::tuple(view.version, view.protocol, view.isLaterFragment),
              std::tuple(body.version, protocol, isLater));
    ASSERT_EQ(view.sourcePort, port(end - begin >= 2, 1234));
    ASSERT_EQ(view.destinationPort, port(end - begin >= 4, 5353));
}

IpAddress Address(const char* text) {
    return IpAddress::Parse(text).value();
}
// Of the one version and of the other, which begins with the same bytes but gets no copies.
const IpAddress kFrom[] = {Address("192.168.0.0"), Address("c0a8::1")};
const IpAddress kTo[] = {Address("203.0.113.9"), Address("fe80::ffff:0:1")};
const IpAddress kOther[] = {Address("10.11.255.1"), Address("fd12:3456:789a:bcde:f012:3456:789a:bcde")};

// Whatever is wrong with the addresses or the room for them, nothing is written.
void CheckRefusals(const AddressRewrite& rewrite, std::vector<std::uint8_t> packet) {
    const std::vector<std::uint8_t> before = packet;
    const IpAddress& good = rewrite.Source();
    const IpAddress& bad = kOther[good.Version() == 4 ? 1 : 0];
    const auto tooShort = std::span(packet).first(packet.size() - 1);
    ASSERT_FALSE(rewrite.Apply(good, bad, packet) || rewrite.Apply(bad, good, packet) ||
                 rewrite.Apply(bad, bad, packet));
    ASSERT_FALSE(rewrite.Apply(good, good, tooShort) || rewrite.Apply(1, 2, tooShort));
    ASSERT_EQ(rewrite.Apply(1, 2, packet), good.Version() == 4);
    ASSERT_EQ(packet == before, good.Version() == 6);
}

// The record, cut at every length: what is seen of it, and what other addresses make of it.
void CheckAllCuts(const Link& link, const Body& body, const IpAddress& newFrom, const IpAddress& newTo) {
    SCOPED_TRACE(std::string(link.about) + ", " + body.about);
    const IpAddress& from = kFrom[body.version == 4 ? 0 : 1];
    const IpAddress& to = kTo[body.version == 4 ? 0 : 1];
    const std::string front = HexToBytes(link.Before(body.version));
    const std::string whole = front + Packet(body, from, to, from, to);
    const std::string updated = front + Packet(body, newFrom, newTo, newFrom, newTo);
    const std::string kept = front + Packet(body, newFrom, newTo, from, to);
    for (std::size_t cut = 0; cut <= whole.size(); ++cut) {
        std::vector<std::uint8_t> packet(whole.data(), whole.data() + cut);  // sanitizers see what reads past it
        const bool isFound = link.isFound && cut >= front.size() + body.FixedHeader();
        const auto view = PacketView::Of(link.type, packet);
        ASSERT_EQ(AddressCopies::Plan(link.type, packet).has_value(), isFound && body.version == 4);
        const auto rewrite = AddressRewrite::Plan(link.type, packet);
        ASSERT_EQ(std::pair(view.has_value(), rewrite.has_value()), std::pair(isFound, isFound)) << "cut to " << cut;
        if (isFound) {
            ASSERT_EQ(std::pair(view->source, view->destination), std::pair(from, to));
            ASSERT_NO_FATAL_FAILURE(CheckView(*view, body, front.size(), packet)) << "cut to " << cut;
            const bool isKept = body.KeepsSum() || cut < front.size() + body.Begin() + body.SumAt() + 2;
            ASSERT_NO_FATAL_FAILURE(CheckRefusals(*rewrite, packet));
            ASSERT_TRUE(rewrite->Apply(to, to, packet) && rewrite->Apply(newFrom, newTo, packet));
            ASSERT_EQ(std::string(packet.begin(), packet.end()), (isKept ? kept : updated).substr(0, cut))
                << "cut to " << cut;
        }
    }
}

TEST(PacketTest, IsViewedAndRewrittenAsItWasPutTogether) {
    for (const Link& link : kLinks) {
        for (Body body : kBodies) {
            const int only = body.version;
            for (const std::size_t index : {0U, 1U}) {
                body.version = index == 0 ? 4 : 6;
                if (link.Before(body.version) != nullptr && (only == 0 || only == body.version)) {
                    const IpAddress zero = Address(index == 0 ? "0.0.0.0" : "::");
                    ASSERT_NO_FATAL_FAILURE(CheckAllCuts(link, body, kOther[index], zero));
                    ASSERT_NO_FATAL_FAILURE(CheckAllCuts(link, body, kFrom[index], kOther[index]));
                }
            }
        }
    }
}

TEST(PacketTest, GetsAZeroAsTheProtocolWritesIt) {
    for (const std::uint8_t protocol : {kTcp, kUdp, kUdpLite, kDccp, kIcmpv6}) {
        for (const std::size_t index : {0U, 1U}) {
            Body body{.about = "zero", .version = index == 0 ? 4 : 6, .protocol = protocol, .lastWord = 0};
            body.isSumKept = protocol == kIcmpv6 && index == 0;
            for (const IpAddress& from : {kFrom[index], kOther[index]}) {
                // The sum as one of the words that it covers makes it zero.
                const std::string packet = Packet(body, from, kTo[index], from, kTo[index]);
                body.lastWord = static_cast<std::uint16_t>(SumOfWords(packet.substr(body.Begin() + body.SumAt(), 2)));
                const Link raw{.about = "raw", .type = 101, .ipv4 = "", .ipv6 = ""};
                ASSERT_NO_FATAL_FAILURE(CheckAllCuts(raw, body, kOther[index], kTo[index]));
                body.lastWord = 0;
            }
        }
    }
}

TEST(AddressCopiesTest, HaveTheAddressesOfOneNetworkInTenOthers) {
    const struct {
        const char* about;
        std::uint32_t from = 0xCB007109;
        std::uint32_t to = 0xCB007109;
        bool isCopied = true;
    } rows[] = {{.about = "its first address sends", .from = 0xC0A80000},
                {.about = "its last one receives", .to = 0xC0A8FFFF},
                {.about = "both are in it", .from = 0xC0A80000, .to = 0xC0A8FFFF},
                {.about = "just beside it", .from = 0xC0A7FFFF, .to = 0xC0A90000, .isCopied = false},
                {.about = "all but the first bits", .from = 0xC1A80001, .to = 0x40A80001, .isCopied = false}};
    for (const auto& [about, from, to, isCopied] : rows) {
        const Body body{.about = about, .version = 4, .protocol = kTcp};
        const std::string packet = Packet(body, IpAddress(from), IpAddress(to), IpAddress(from), IpAddress(to));
        std::vector<std::uint8_t> copy(packet.begin(), packet.end()), expected = copy;
        const auto copies = AddressCopies::Plan(228, copy);
        const auto rewrite = AddressRewrite::Plan(228, copy);
        ASSERT_EQ(copies.has_value(), isCopied) << about;
        for (std::uint8_t network = 0; copies && network < 10; ++network) {
            const auto moved = [network](std::uint32_t address) {
                return address / 65536 == 0xC0A8 ? (0x0A00U + network) * 65536U + address % 65536 : address;
            };
            copies->Apply(network, copy);
            ASSERT_TRUE(rewrite->Apply(moved(from), moved(to), expected));
            ASSERT_EQ(copy, expected) << about;
        }
    }
}

static_assert(UpdatedChecksum(0xFFFF, ChecksumChange(0xFFFFFFFF, 0)) == 0x0000);  // the other form of zero

}  // namespace
}  // namespace velora::packet
