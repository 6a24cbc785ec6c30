// Views are held against what packets were put together from, rewritten packets against packets put
// together anew, all sums counted from nothing.

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/packet/naive_checksum.h"
#include "tests/packet/view_text.h"
#include "velora/packet/address_rewrite.h"
#include "velora/utils/hex_text.h"

namespace velora::packet {
namespace {

enum : std::uint8_t {
    kHopByHop = 0,
    kIcmp = 1,
    kTcp = 6,
    kUdp = 17,
    kDccp = 33,
    kRouting = 43,
    kFragment = 44,
    kAuthentication = 51,
    kIcmpv6 = 58,
    kNoNext = 59,
    kOptions = 60,
    kSctp = 132,
    kUdpLite = 136
};
constexpr std::size_t kHeader = 40;

// What stands in front of the IPv6 header.
const struct Link {
    const char* about;
    std::uint32_t type;
    const char* header;
    bool isFound = true;  // what is behind it
} kLinks[] = {
    {.about = "Ethernet, a tag", .type = 1, .header = "0200000000010200000000028100000186DD"},
    {.about = "IPv4's type", .type = 1, .header = "0200000000010200000000020800", .isFound = false},
    {.about = "cooked", .type = 113, .header = "000000010006020000000001000086DD"},
    {.about = "netlink", .type = 113, .header = "000003380006020000000001000086DD", .isFound = false},
    {.about = "cooked 2", .type = 276, .header = "86DD000000000002000100060200000000010000"},
    {.about = "Linux, little-endian", .type = 0, .header = "0A000000"},
    {.about = "NetBSD, big-endian", .type = 0, .header = "00000018"},
    {.about = "OpenBSD loopback", .type = 108, .header = "00000018"},
    {.about = "FreeBSD, little-endian", .type = 0, .header = "1C000000"},
    {.about = "Darwin, big-endian", .type = 108, .header = "0000001E"},
    {.about = "IPv4's family", .type = 0, .header = "02000000", .isFound = false},
    {.about = "nobody's family", .type = 0, .header = "0B000000", .isFound = false},
    {.about = "raw by an old number", .type = 12, .header = ""},
    {.about = "IPv6 alone", .type = 229, .header = ""},
    {.about = "IPv4 alone", .type = 228, .header = "", .isFound = false},
    {.about = "version 7", .type = 229, .header = "7000000000003B40", .isFound = false},
    {.about = "version 4", .type = 229, .header = "4500001400000000400100007F0000017F000001", .isFound = false},
    {.about = "a link type nobody knows", .type = 147, .header = "", .isFound = false},
};

struct Extension {
    std::uint8_t number;
    const char* rest;  // behind the next header's number
};
constexpr const char* kStop = "20010DB8000000000000000000000009";

const struct Body {
    [[nodiscard]] std::size_t SumAt() const { return protocol == kTcp ? 16 : protocol == kIcmpv6 ? 2 : 6; }
    [[nodiscard]] std::size_t Begin() const { return kHeader + Chain().size(); }
    [[nodiscard]] std::size_t End() const { return length.value_or(0) == 0 ? Begin() + 23 : kHeader + *length; }

    // The extension headers, each with the number of what follows it.
    [[nodiscard]] std::string Chain() const {
        std::string chain;
        for (std::size_t index = 0; index < extensions.size(); ++index) {
            const bool isLast = index + 1 == extensions.size();
            chain += Big(1, isLast ? protocol : extensions[index + 1].number) +
                     MiscUtils::HexToBytes(extensions[index].rest);
        }
        return chain;
    }

    const char* about;
    std::uint8_t protocol;
    bool isSumKept = false;
    std::vector<Extension> extensions = {};
    bool isLaterFragment = false;
    bool isRouteAhead = false;               // the sum covers another address than the destination
    std::optional<std::size_t> length = {};  // where it is not the true one
    std::uint16_t wrongBy = 0;
    bool isWithoutSum = false;
    std::uint16_t lastWord = 0x1234;
} kBodies[] = {
    {.about = "TCP", .protocol = kTcp},
    {.about = "UDP, wrong by the most", .protocol = kUdp, .wrongBy = 65534},
    {.about = "UDP without a sum", .protocol = kUdp, .isSumKept = true, .isWithoutSum = true},
    {.about = "UDP-Lite", .protocol = kUdpLite},
    {.about = "DCCP", .protocol = kDccp},
    {.about = "ICMPv6", .protocol = kIcmpv6},
    {.about = "IPv4's ICMP", .protocol = kIcmp, .isSumKept = true},
    {.about = "SCTP, whose sum covers no addresses", .protocol = kSctp, .isSumKept = true},
    {.about = "no next header", .protocol = kNoNext, .isSumKept = true},
    {.about = "one of each",
     .protocol = kTcp,
     .extensions = {{kHopByHop, "00010400000000"},
                    {kOptions, "01010C000000000000000000000000"},
                    {kRouting, "00040000000000"},
                    {kFragment, "0000010000000A"},
                    {kAuthentication, "010000000000AB00000001"},
                    {kOptions, "00010400000000"}}},
    {.about = "a later fragment",
     .protocol = kUdp,
     .isSumKept = true,
     .extensions = {{kFragment, "00000800000001"}},
     .isLaterFragment = true},
    {.about = "a later fragment behind which options would follow",
     .protocol = kOptions,
     .isSumKept = true,
     .extensions = {{kFragment, "00FFF900000001"}},
     .isLaterFragment = true},
    {.about = "route ahead",
     .protocol = kIcmpv6,
     .extensions = {{kRouting, "0200010000000020010DB8000000000000000000000009"}},
     .isRouteAhead = true},
    {.about = "a route that was passed",
     .protocol = kUdp,
     .extensions = {{kRouting, "0203000000000020010DB8000000000000000000000009"}}},
    {.about = "length 0", .protocol = kTcp, .length = 0},
    {.about = "length ends within TCP's sum", .protocol = kTcp, .isSumKept = true, .length = 17},
    {.about = "length ends behind TCP's sum", .protocol = kTcp, .length = 18},
    {.about = "length ends within the ports", .protocol = kUdp, .isSumKept = true, .length = 3},
    {.about = "length ends within an extension header",
     .protocol = kTcp,
     .isSumKept = true,
     .extensions = {{kHopByHop, "00010400000000"}},
     .length = 7},
    {.about = "length beyond the packet", .protocol = kDccp, .length = 65535},
};

// The packet, its transport sum over two addresses that need not be those of the header.
std::string Packet(const Body& body, const IpAddress& from, const IpAddress& to, const IpAddress& sumFrom,
                   const IpAddress& sumTo) {
    const auto bytesOf = [](const IpAddress& address) {
        return std::string(address.Bytes().begin(), address.Bytes().end());
    };
    std::string segment = MiscUtils::HexToBytes("04D214E9000000000000000150100200") + Big(6, body.lastWord) + "\xAB";
    const std::string chain = body.Chain();
    const std::uint8_t next = body.extensions.empty() ? body.protocol : body.extensions[0].number;
    const std::string pseudoHeader = bytesOf(sumFrom) +
                                     (body.isRouteAhead ? MiscUtils::HexToBytes(kStop) : bytesOf(sumTo)) +
                                     Big(4, segment.size()) + Big(4, body.protocol);
    segment.replace(body.SumAt(), 2, "\0\0", 2);
    const std::uint16_t zero = body.protocol == kUdp || body.protocol == kUdpLite ? 0xFFFF : 0;
    const std::uint16_t sum = NaiveChecksum(SumOfWords(pseudoHeader + segment) + 65535 - body.wrongBy, zero);
    segment.replace(body.SumAt(), 2, Big(2, body.isWithoutSum ? 0 : sum));
    return Big(4, 0x60000000) + Big(2, body.length.value_or(chain.size() + segment.size())) + Big(1, next) + "\x40" +
           bytesOf(from) + bytesOf(to) + chain + segment;
}

const IpAddress kFrom = IpAddress::Parse("2001:db8::1").value();
const IpAddress kTo = IpAddress::Parse("fe80::ffff:0:1").value();

// What is captured of the record when it is cut there, as a view has it.
std::string Viewed(const Body& body, std::size_t front, std::size_t cut) {
    const std::size_t end = front + body.End();
    std::size_t begin = front + kHeader;
    for (const Extension& extension : body.extensions) {
        const std::size_t size = 1 + std::string_view(extension.rest).size() / 2;
        if (begin + size > std::min(cut, end)) {
            return ", protocol " + std::to_string(extension.number) + PayloadText(false, begin, end, cut);
        }
        begin += size;
    }
    const auto isOneOf = [&body](auto... protocols) { return ((body.protocol == protocols) || ...); };
    const bool hasPorts = isOneOf(kTcp, kUdp, kDccp, kSctp, kUdpLite) && !body.isLaterFragment;
    return ", protocol " + std::to_string(body.protocol) + (body.isLaterFragment ? ", later fragment" : "") +
           PayloadText(hasPorts, begin, end, cut);
}

// Whatever is wrong with the addresses or the room for them, nothing is written.
void CheckRefusals(const AddressRewrite& rewrite, std::vector<std::uint8_t> packet) {
    const std::vector<std::uint8_t> before = packet;
    ASSERT_FALSE(rewrite.Apply(kFrom, IpAddress(1), packet) || rewrite.Apply(IpAddress(1), kTo, packet) ||
                 rewrite.Apply(1, 2, packet) || rewrite.Apply(kTo, kFrom, std::span(packet).first(packet.size() - 1)));
    ASSERT_EQ(packet, before);
}

// The record, cut at every length: what is seen of it, and what other addresses make of it.
void CheckAllCuts(const Link& link, const Body& body, const IpAddress& newFrom, const IpAddress& newTo) {
    SCOPED_TRACE(std::string(link.about) + ", " + body.about);
    const std::string front = MiscUtils::HexToBytes(link.header);
    const std::string whole = front + Packet(body, kFrom, kTo, kFrom, kTo);
    const std::string updated = front + Packet(body, newFrom, newTo, newFrom, newTo);
    const std::string kept = front + Packet(body, newFrom, newTo, kFrom, kTo);
    for (std::size_t cut = 0; cut <= whole.size(); ++cut) {
        std::vector<std::uint8_t> packet(whole.data(), whole.data() + cut);  // sanitizers see what reads past it
        const bool isFound = link.isFound && cut >= front.size() + kHeader;
        ASSERT_EQ(ViewText(link.type, packet),
                  isFound ? "2001:db8::1 > fe80::ffff:0:1" + Viewed(body, front.size(), cut) : "none");
        ASSERT_FALSE(FindIpv4(link.type, packet));
        const auto rewrite = AddressRewrite::Plan(link.type, packet);
        ASSERT_EQ(rewrite.has_value(), isFound) << "cut to " << cut;
        if (rewrite) {
            const bool isKept = body.isSumKept || cut < front.size() + body.Begin() + body.SumAt() + 2;
            ASSERT_NO_FATAL_FAILURE(CheckRefusals(*rewrite, packet));
            ASSERT_TRUE(rewrite->Apply(kTo, kTo, packet) && rewrite->Apply(newFrom, newTo, packet));
            ASSERT_EQ(std::string(packet.begin(), packet.end()), (isKept ? kept : updated).substr(0, cut))
                << "cut to " << cut;
        }
    }
}

TEST(Ipv6PacketTest, IsViewedAndRewrittenAsItWasPutTogether) {
    const auto other = IpAddress::Parse("fd12:3456:789a:bcde:f012:3456:789a:bcde").value();
    for (const Link& link : kLinks) {
        for (const Body& body : kBodies) {
            ASSERT_NO_FATAL_FAILURE(CheckAllCuts(link, body, other, IpAddress::Parse("::").value()));
            ASSERT_NO_FATAL_FAILURE(CheckAllCuts(link, body, kFrom, other));
        }
    }
}

TEST(Ipv6PacketTest, GetsAZeroAsTheProtocolWritesIt) {
    const auto other = IpAddress::Parse("ffff:ffff::1").value();
    for (const std::uint8_t protocol : {kTcp, kUdp, kUdpLite, kDccp, kIcmpv6}) {
        for (const IpAddress& from : {kFrom, other}) {
            Body body{.about = "zero", .protocol = protocol, .lastWord = 0};
            // The sum as one of the words that it covers makes it zero.
            const std::string packet = Packet(body, from, kTo, from, kTo);
            body.lastWord = static_cast<std::uint16_t>(SumOfWords(packet.substr(kHeader + body.SumAt(), 2)));
            ASSERT_NO_FATAL_FAILURE(CheckAllCuts(kLinks[0], body, other, kTo));
        }
    }
}

}  // namespace
}  // namespace velora::packet
