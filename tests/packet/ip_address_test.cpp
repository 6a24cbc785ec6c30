#include "velora/packet/ip_address.h"

#include <array>
#include <span>
#include <string>
#include <unordered_set>

#include <gtest/gtest.h>

namespace velora::packet {
namespace {

TEST(IpAddressTest, HasTextBytesOrderAndHash) {
    std::unordered_set<std::size_t> hashes;
    IpAddress last;
    // Each is less than the next one.
    for (const char* text :
         {"0.0.1.0", "127.0.0.1", "255.0.0.0", "::", "::1", "::ffff:1.2.3.4", "2001:db8::1", "fd00:1:2:3:4:5:6:ffff"}) {
        const IpAddress address = IpAddress::Parse(text).value();
        EXPECT_EQ(address.Text(), text);
        EXPECT_EQ(address.Version(), std::string(text).find(':') == std::string::npos ? 4 : 6) << text;
        EXPECT_EQ(IpAddress::FromBytes(address.Bytes()), address) << text;
        EXPECT_LT(last, address);
        EXPECT_TRUE(hashes.insert(std::hash<IpAddress>()(address)).second) << text;
        last = address;
    }
    EXPECT_EQ(IpAddress(0xC0A80702).Text(), "192.168.7.2");
    EXPECT_EQ(IpAddress(0xC0A80702).Number(), 0xC0A80702);
    EXPECT_EQ(IpAddress(std::array<std::uint8_t, 16>{0x20, 1}).Text(), "2001::");
}

TEST(IpAddressTest, IsReadFromNothingElse) {
    for (const std::string text : {"", "1.2.3", "1.2.3.4 ", "::1%lo", "fd00::/8"}) {
        EXPECT_FALSE(IpAddress::Parse(text)) << text;
    }
    EXPECT_FALSE(IpAddress::Parse(std::string("1.2.3.4\0", 8)));
    const std::array<std::uint8_t, 17> bytes{};
    for (const std::size_t size : {0U, 3U, 5U, 15U, 17U}) {
        EXPECT_FALSE(IpAddress::FromBytes(std::span(bytes).first(size))) << size;
    }
}

}  // namespace
}  // namespace velora::packet
