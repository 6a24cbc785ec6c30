#include "velora/packet/ip_address.h"

#include <array>
#include <span>
#include <string>
#include <unordered_set>

#include <gtest/gtest.h>

namespace velora::packet {
namespace {

TEST(IpAddressTest, IsReadFromItsTextAndItsBytes) {
    for (const char* text : {"0.0.0.0", "192.168.7.2", "255.255.255.255", "::", "::1", "2001:db8::1", "::ffff:1.2.3.4",
                             "fd00:1:2:3:4:5:6:ffff"}) {
        const auto address = IpAddress::Parse(text);
        ASSERT_TRUE(address) << text;
        EXPECT_EQ(address->Text(), text);
        EXPECT_EQ(address->Version(), std::string(text).find(':') == std::string::npos ? 4 : 6) << text;
        EXPECT_EQ(IpAddress::FromBytes(address->Bytes()), address) << text;
    }
    EXPECT_EQ(IpAddress(0xC0A80702).Text(), "192.168.7.2");
    EXPECT_EQ(IpAddress(0xC0A80702).Number(), 0xC0A80702);
    EXPECT_EQ(IpAddress(std::array<std::uint8_t, 16>{0x20, 1}).Text(), "2001::");
}

TEST(IpAddressTest, IsReadFromNothingElse) {
    for (const std::string& text : {std::string(), std::string("1.2.3"), std::string("1.2.3.4 "), std::string("::1%lo"),
                                    std::string("1.2.3.4\0", 8), std::string(100, ':')}) {
        EXPECT_FALSE(IpAddress::Parse(text)) << text;
    }
    const std::array<std::uint8_t, 17> bytes{};
    for (const std::size_t size : {0U, 3U, 5U, 15U, 17U}) {
        EXPECT_FALSE(IpAddress::FromBytes(std::span(bytes).first(size))) << size;
    }
}

TEST(IpAddressTest, HasAnOrderAndAHash) {
    // Each is less than the next one.
    const char* const texts[] = {"0.0.0.0", "0.0.1.0", "127.0.0.1", "128.0.0.0", "::", "::1", "1::", "8000::"};
    std::unordered_set<IpAddress> set;
    std::unordered_set<std::size_t> hashes;
    const IpAddress* last = nullptr;
    for (const char* text : texts) {
        const auto inserted = set.insert(IpAddress::Parse(text).value());
        EXPECT_TRUE(inserted.second) << text;
        EXPECT_TRUE(last == nullptr || *last < *inserted.first) << text;
        EXPECT_TRUE(hashes.insert(std::hash<IpAddress>()(*inserted.first)).second) << text;
        last = &*inserted.first;
    }
}

}  // namespace
}  // namespace velora::packet
