#include "velora/iowrap/pcapng_stream.h"

#include <array>
#include <tuple>

#include <gtest/gtest.h>

#include "tests/support/capture_builder.h"
#include "tests/support/temp_dir.h"

namespace {

TEST(PcapNgStreamTest, DeliversEachPacketOnceAsAClassicRecordInMicroseconds) {
    constexpr std::uint64_t kSecond = 1'000'000'000;
    const TempDir directory;
    const std::string path = directory.Write("file.pcapng", PcapNgBuilder(1, 9)
                                                                .Packet(1500 * kSecond + 123'456'789, "first", 60)
                                                                .Packet(3000000000 * kSecond, "")
                                                                .Packet(((1ULL << 32) + 5) * kSecond, "after 2106")
                                                                .Bytes());
    CIOWrap_PcapNG stream;
    std::array<char, 24> buffer{};
    ASSERT_TRUE(stream.Open(path.c_str(), "rb"));
    EXPECT_FALSE(stream.Read(buffer.data(), 16)) << "nothing is fetched yet";
    // What the reader does to rewind: the first packet is pending, but gone.
    EXPECT_GE(stream.Prefetch(), 0);
    EXPECT_TRUE(stream.Read(buffer.data(), 16));
    stream.Close();
    ASSERT_TRUE(stream.Open(path.c_str(), "rb"));
    EXPECT_FALSE(stream.IsEOF());
    buffer.fill('-');
    EXPECT_TRUE(stream.Read(buffer.data(), 24));
    EXPECT_EQ(buffer[0], '-');

    // Columns: seconds, microseconds, length on the wire, and the six bytes asked for.
    using Packet = std::tuple<std::int32_t, std::int32_t, std::uint32_t, std::string>;
    for (const Packet& packet :
         {Packet(1500, 123456, 60, "first--"), {-1294967296, 0, 0, "-------"}, {5, 0, 10, "after -"}}) {
        EXPECT_TRUE(stream.IsEOF());
        EXPECT_FALSE(stream.Read(buffer.data(), 1)) << "a packet is delivered once";
        EXPECT_GE(stream.Prefetch(), 0);
        velora::formats::classic::RecordHeader header{};
        EXPECT_TRUE(stream.Read(&header, sizeof header));
        EXPECT_FALSE(stream.IsEOF()) << "a payload is pending, be it empty";
        buffer.fill('-');
        EXPECT_TRUE(stream.Read(buffer.data(), 6)) << "more and less than was captured";
        EXPECT_EQ(Packet(header.tsSec, header.tsUsec, header.origLen, std::string(buffer.data(), 7)), packet);
    }
    EXPECT_EQ(stream.Prefetch(), PCAP_ERROR_BREAK);
    EXPECT_TRUE(stream.IsEOF());
}

TEST(PcapNgStreamTest, KeepsTheErrorOfAFailedOpen) {
    CIOWrap_PcapNG stream;
    EXPECT_FALSE(stream.Open("/missing", "rb"));
    EXPECT_EQ(stream.GetError(), ENOENT);
    EXPECT_LT(stream.Prefetch(), 0);
    EXPECT_TRUE(stream.IsEOF());
}

}  // namespace
