// The copies are held against packets put together anew, with the copy's addresses and all sums counted from
// nothing. What tshark makes of them is for scripts/check-copies.

#include "velora/packet/address_copies.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/packet/naive_checksum.h"
#include "velora/packet/checksum_update.h"
#include "velora/utils/hex_text.h"

namespace velora::packet {
namespace {

constexpr std::uint32_t kInside = 0xC0A80000;  // 192.168.0.0, the first of those that are copied
constexpr std::uint32_t kLast = 0xC0A8FFFF;
constexpr std::uint32_t kOutside = 0xCB007109;  // 203.0.113.9
constexpr std::uint32_t kRouteEnd = 0xC0A80507;
enum : std::uint8_t { kIcmp = 1, kTcp = 6, kUdp = 17, kDccp = 33, kUdpLite = 136 };
constexpr std::size_t kAsItIs = 0xFFFFFF;
const char kMostOptions[] = "07270400000000000000000000000000000000000000000000000000000000000000000000000000";

// What stands in front of the IPv4 header.
struct Link {
    const char* about;
    std::uint32_t type;
    const char* header;
};

const Link kLinks[] = {
    {.about = "Ethernet", .type = 1, .header = "0200000000010200000000020800"},
    {.about = "one tag", .type = 1, .header = "02000000000102000000000281000FFF0800"},
    {.about = "a service tag", .type = 1, .header = "02000000000102000000000288A800010800"},
    {.about = "five tags", .type = 1, .header = "0200000000010200000000028100000181000002910000038100000488A800050800"},
    {.about = "cooked", .type = 113, .header = "00000001000602000000000100000800"},
    {.about = "cooked, two tags", .type = 113, .header = "000000010006020000000001000088A80001810000020800"},
    {.about = "cooked 2", .type = 276, .header = "0800000000000002000100060200000000010000"},
    {.about = "cooked 2, two tags", .type = 276, .header = "81000000000000020001000602000000000100000001910000020800"},
    {.about = "loopback, little-endian", .type = 0, .header = "02000000"},
    {.about = "loopback, big-endian", .type = 0, .header = "00000002"},
    {.about = "OpenBSD loopback", .type = 108, .header = "02000000"},
    {.about = "raw", .type = 101, .header = ""},
    {.about = "raw by an old number", .type = 14, .header = ""},
    {.about = "IPv4", .type = 228, .header = ""},
};

struct Body {
    const char* about;
    std::uint8_t protocol;
    bool isSumKept = false;  // the transport sum is to stay as it was
    const char* options = "";
    std::uint16_t fragment = 0;
    std::size_t totalLength = kAsItIs;
    std::uint16_t wrongBy = 0;  // both sums
    bool isNone = false;        // a transport sum of zero
    bool isRouteAhead = false;  // the transport sum covers kRouteEnd
    std::uint16_t lastWord = 0x1234;
};

const Body kBodies[] = {
    {.about = "TCP", .protocol = kTcp},
    {.about = "UDP", .protocol = kUdp},
    {.about = "UDP-Lite", .protocol = kUdpLite},
    {.about = "DCCP", .protocol = kDccp},
    {.about = "a protocol without such a sum", .protocol = kIcmp, .isSumKept = true},
    {.about = "wrong by the most", .protocol = kUdp, .wrongBy = 65534},
    {.about = "UDP without a sum", .protocol = kUdp, .isSumKept = true, .isNone = true},
    {.about = "UDP-Lite's zero", .protocol = kUdpLite, .isSumKept = true, .isNone = true},
    {.about = "one word of options", .protocol = kTcp, .options = "01010100"},
    {.about = "the most options", .protocol = kUdp, .options = kMostOptions},
    {.about = "a first fragment", .protocol = kUdp, .fragment = 0x2000},
    {.about = "the second fragment", .protocol = kUdp, .isSumKept = true, .fragment = 1},
    {.about = "a fragment far behind", .protocol = kTcp, .isSumKept = true, .fragment = 0x1000},
    {.about = "length 0", .protocol = kTcp, .totalLength = 0},
    {.about = "length ends within TCP's sum", .protocol = kTcp, .isSumKept = true, .totalLength = 37},
    {.about = "length ends behind TCP's sum", .protocol = kTcp, .totalLength = 38},
    {.about = "length ends within UDP's sum", .protocol = kUdp, .isSumKept = true, .totalLength = 27},
    {.about = "length ends behind UDP's sum", .protocol = kUdp, .totalLength = 28},
    {.about = "length beyond the packet", .protocol = kDccp, .totalLength = 65535},
    {.about = "route ahead", .protocol = kTcp, .options = "01830704C0A80507", .isRouteAhead = true},
    {.about = "strict, last stop", .protocol = kUdp, .options = "890B0801020304C0A8050700", .isRouteAhead = true},
    {.about = "finished route", .protocol = kTcp, .options = "01830708C0A80507"},
    {.about = "no room for a stop", .protocol = kTcp, .options = "83060401C0A80000"},
    {.about = "route behind the end", .protocol = kTcp, .options = "0002830704C0A80507000000"},
    {.about = "route behind an option of length 1", .protocol = kTcp, .options = "0701830704C0A80507000000"},
    {.about = "route longer than the options", .protocol = kTcp, .options = "01830804C0A80507"},
};

void Put(std::string& bytes, std::size_t at, std::size_t size, std::uint64_t value) {
    for (; size > 0; --size, value >>= 8U) {
        bytes[at + size - 1] = static_cast<char>(value & 0xFFU);
    }
}

std::size_t HeaderLength(const Body& body) {
    return 20 + std::string_view(body.options).size() / 2;
}

std::size_t SumAt(const Body& body) {
    return HeaderLength(body) + (body.protocol == kTcp ? 16 : 6);
}

// The packet, its transport sum over two addresses that need not be those of the header.
std::string Packet(const Body& body, std::uint32_t from, std::uint32_t to, std::uint32_t sumFrom, std::uint32_t sumTo) {
    const std::size_t length = HeaderLength(body);
    const std::uint16_t zero = body.protocol == kUdp || body.protocol == kUdpLite ? 0xFFFF : 0;
    std::string header(20, '\0');
    Put(header, 0, 1, 0x40 + length / 4);
    Put(header, 6, 2, body.fragment);
    Put(header, 8, 2, 0x4000U + body.protocol);
    Put(header, 12, 8, (std::uint64_t{from} << 32U) + to);
    header += MiscUtils::HexToBytes(body.options);
    std::string segment = MiscUtils::HexToBytes("04D214E9000000000000000150100200000000000000AB");
    Put(segment, 20, 2, body.lastWord);
    Put(header, 2, 2, body.totalLength == kAsItIs ? length + segment.size() : body.totalLength);

    Put(header, 10, 2, NaiveChecksum(SumOfWords(header) + 65535 - body.wrongBy, 0));
    std::string covered(12, '\0');
    Put(covered, 0, 8, (std::uint64_t{sumFrom} << 32U) + (body.isRouteAhead ? kRouteEnd : sumTo));
    Put(covered, 9, 3, body.protocol * 65536U + segment.size());
    Put(segment, SumAt(body) - length, 2, 0);
    const std::uint16_t sum = NaiveChecksum(SumOfWords(covered + segment) + 65535 - body.wrongBy, zero);
    Put(segment, SumAt(body) - length, 2, body.isNone ? 0 : sum);
    return header + segment;
}

std::uint32_t Moved(std::uint32_t address, unsigned network) {
    return address / 65536 == 0xC0A8 ? (0x0A00 + network) * 65536U + address % 65536 : address;
}

// The copy, or nothing when the record gets none.
std::string Copy(std::uint32_t linkType, const std::string& record, unsigned network) {
    // A block of the record's own size: the sanitizers see what reads past it.
    std::vector<std::uint8_t> bytes(record.begin(), record.end());
    const auto copies = AddressCopies::Plan(linkType, bytes);
    if (copies) {
        copies->Apply(static_cast<std::uint8_t>(network), bytes);
    }
    return copies ? std::string(bytes.begin(), bytes.end()) : "";
}

// The record cut at every length, the ten copies of each.
void CheckAllCuts(const Link& link, const Body& body, std::uint32_t from, std::uint32_t to) {
    const std::string front = MiscUtils::HexToBytes(link.header);
    const std::string whole = front + Packet(body, from, to, from, to);
    for (unsigned network = 0; network < AddressCopies::kNetworks; ++network) {
        const std::uint32_t newFrom = Moved(from, network);
        const std::uint32_t newTo = Moved(to, network);
        const std::string updated = front + Packet(body, newFrom, newTo, newFrom, newTo);
        const std::string kept = front + Packet(body, newFrom, newTo, from, to);
        for (std::size_t cut = 0; cut <= whole.size(); ++cut) {
            const bool isKept = body.isSumKept || cut < front.size() + SumAt(body) + 2;
            const std::string expected = cut < front.size() + 20 ? "" : (isKept ? kept : updated).substr(0, cut);
            ASSERT_EQ(Copy(link.type, whole.substr(0, cut), network), expected)
                << link.about << ", " << body.about << ", cut to " << cut << ", network " << network;
        }
    }
}

TEST(AddressCopiesTest, AreAsIfPutTogetherAnew) {
    for (const Link& link : kLinks) {
        for (const Body& body : kBodies) {
            ASSERT_NO_FATAL_FAILURE(CheckAllCuts(link, body, kInside + 5, kOutside));
        }
    }
    for (const Body& body : kBodies) {
        ASSERT_NO_FATAL_FAILURE(CheckAllCuts(kLinks[0], body, kOutside, kLast));
        ASSERT_NO_FATAL_FAILURE(CheckAllCuts(kLinks[0], body, kInside, kLast));
    }
}

// Sums that come out as zero in one of the copies, or were captured as zero: 0xFFFF for UDP's.
TEST(AddressCopiesTest, WriteZeroAsTheProtocolDoes) {
    for (const std::uint8_t protocol : {kTcp, kUdp, kUdpLite, kDccp}) {
        for (const std::uint32_t from : {kInside, Moved(kInside, 0), Moved(kInside, 9)}) {
            Body body{.about = "zero", .protocol = protocol, .lastWord = 0};
            const auto sum = [&] {
                return SumOfWords(Packet(body, from, kOutside, from, kOutside).substr(SumAt(body), 2));
            };
            body.lastWord = static_cast<std::uint16_t>(sum());
            ASSERT_EQ(sum(), protocol == kUdp || protocol == kUdpLite ? 0xFFFF : 0);
            ASSERT_NO_FATAL_FAILURE(CheckAllCuts(kLinks[0], body, kInside, kOutside));
        }
    }
}

// The examples of RFC 1624, and both forms of zero.
static_assert(UpdatedChecksum(0xDD2F, ChecksumChange(0x5555, 0x3285)) == 0x0000);
static_assert(UpdatedChecksum(0x0000, ChecksumChange(0x3285, 0x5555)) == 0xDD2F);
static_assert(UpdatedChecksum(0xFFFF, ChecksumChange(0x3285, 0x5555)) == 0xDD2F);
static_assert(UpdatedChecksum(0xFFFF, ChecksumChange(0xFFFFFFFF, 0)) == 0x0000);

TEST(AddressCopiesTest, AreNotMadeOfOtherPackets) {
    const std::string ethernet = kLinks[0].header;
    const std::string mac = ethernet.substr(0, 24);
    const std::string start = "450000140000000040010000";  // of an IPv4 header; its addresses follow
    const std::string packet = start + "C0A80001C0A80002";
    const auto isCopied = [](std::uint32_t linkType, const std::string& record) {
        return !Copy(linkType, MiscUtils::HexToBytes(record), 0).empty();
    };
    EXPECT_FALSE(isCopied(1, ethernet + start + "0A0000010A000002")) << "neither address is inside";
    EXPECT_FALSE(isCopied(1, ethernet + start + "C0A7FFFFC0A90000")) << "just below and just above";
    EXPECT_FALSE(isCopied(1, ethernet + start + "C1A8000140A80001")) << "the second byte alone";
    EXPECT_TRUE(isCopied(1, ethernet + start + "C0A7FFFFC0A80000")) << "the first inside";
    EXPECT_TRUE(isCopied(1, ethernet + start + "C0A8FFFFC0A90000")) << "the last inside";
    EXPECT_FALSE(isCopied(101, "6" + packet.substr(1))) << "version 6";
    EXPECT_FALSE(isCopied(101, "44" + packet.substr(2))) << "header of 4 words";
    EXPECT_FALSE(isCopied(1, mac + "86DD" + packet)) << "IPv6's type";
    EXPECT_FALSE(isCopied(1, mac + "920000010800" + packet)) << "a tag of another kind";
    EXPECT_FALSE(isCopied(1, mac + "810000018100")) << "a tag without an end";
    EXPECT_FALSE(isCopied(113, "00000302000602000000000100000800" + packet)) << "cooked, Frame Relay";
    EXPECT_FALSE(isCopied(113, "00000323000602000000000100000800" + packet)) << "cooked, radiotap";
    EXPECT_FALSE(isCopied(276, "0800000000000002033800060200000000010000" + packet)) << "cooked 2, netlink";
    EXPECT_FALSE(isCopied(0, "18000000" + packet)) << "loopback, family 24";
    EXPECT_FALSE(isCopied(0, "00020000" + packet)) << "loopback, a family that is no such number";
    EXPECT_FALSE(isCopied(147, packet)) << "a link type nobody knows";
}

}  // namespace
}  // namespace velora::packet
