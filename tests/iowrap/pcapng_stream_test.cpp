#include "iowrap/pcapng_stream.h"

#include <array>

#include <gtest/gtest.h>

#include "tests/support/capture_builder.h"
#include "tests/support/temp_dir.h"

namespace {

using ClassicFormat::RecordHeader;

class PcapNgStreamTest : public testing::Test {
 protected:
    void Open(const std::string& bytes) {
        m_Path = m_Directory.Write("file.pcapng", bytes);
        ASSERT_TRUE(m_Stream.Open(m_Path.c_str(), "rb"));
    }

    // The next packet as "<sec>.<usec> <captured>/<length> <bytes>", or the empty text.
    std::string Next() {
        RecordHeader header{};
        if (m_Stream.Prefetch() < 0) {
            EXPECT_TRUE(m_Stream.IsEOF());
            EXPECT_FALSE(m_Stream.Read(&header, sizeof header));
            return "";
        }
        EXPECT_FALSE(m_Stream.IsEOF());
        EXPECT_TRUE(m_Stream.Read(&header, sizeof header));
        std::string data(header.inclLen, '?');
        EXPECT_FALSE(m_Stream.IsEOF()) << "a payload is pending, be it empty";
        EXPECT_TRUE(m_Stream.Read(data.data(), header.inclLen));
        EXPECT_TRUE(m_Stream.IsEOF());
        EXPECT_FALSE(m_Stream.Read(data.data(), header.inclLen)) << "a packet is delivered once";
        return std::to_string(header.tsSec) + "." + std::to_string(header.tsUsec) + " " +
               std::to_string(header.inclLen) + "/" + std::to_string(header.origLen) + " " + data;
    }

    TempDir m_Directory;
    std::string m_Path;
    CIOWrap_PcapNG m_Stream;
};

TEST_F(PcapNgStreamTest, DeliversClassicRecordsInMicroseconds) {
    Open(PcapNgBuilder(1, 9)
             .Packet(1'500'000'000'123'456'789, "first")
             .Packet(1'500'000'000'123'457'999, "")
             .Packet(3'000'000'000'000'000'000, "after 2038")
             .Packet((std::uint64_t{1} << 32) * 1'000'000'000 + 5'000'000'000, "after 2106")
             .Bytes());
    EXPECT_FALSE(m_Stream.Read(nullptr, 16)) << "nothing is fetched yet";
    EXPECT_TRUE(m_Stream.IsEOF());
    EXPECT_EQ(Next(), "1500000000.123456 5/5 first");
    EXPECT_EQ(Next(), "1500000000.123457 0/0 ");
    EXPECT_EQ(Next(), "-1294967296.0 10/10 after 2038");
    EXPECT_EQ(Next(), "5.0 10/10 after 2106");
    EXPECT_EQ(Next(), "");
}

TEST_F(PcapNgStreamTest, ServesOneReadAfterReopeningFromTheReleasedPacket) {
    Open(PcapNgBuilder().Packet(7'000'000, "first").Packet(8'000'000, "second").Bytes());
    std::array<char, 24> buffer{};
    EXPECT_GE(m_Stream.Prefetch(), 0);
    EXPECT_TRUE(m_Stream.Read(buffer.data(), 16));
    m_Stream.Close();
    ASSERT_TRUE(m_Stream.Open(m_Path.c_str(), "rb"));
    EXPECT_FALSE(m_Stream.IsEOF());
    EXPECT_TRUE(m_Stream.Read(buffer.data(), 24));
    EXPECT_FALSE(m_Stream.Read(buffer.data(), 24));
    EXPECT_EQ(Next(), "7.0 5/5 first") << "delivered once, after the rewind";
    EXPECT_GE(m_Stream.Prefetch(), 0);
    EXPECT_TRUE(m_Stream.Read(buffer.data(), 16));
    buffer.fill('-');
    EXPECT_TRUE(m_Stream.Read(buffer.data(), 16)) << "more than was captured";
    EXPECT_EQ(std::string(buffer.data(), 7), "second-");
}

TEST_F(PcapNgStreamTest, KeepsTheErrorOfAFailedOpen) {
    EXPECT_FALSE(m_Stream.Open(m_Directory.Path("missing").c_str(), "rb"));
    EXPECT_EQ(m_Stream.GetError(), ENOENT);
    EXPECT_LT(m_Stream.Prefetch(), 0);
    EXPECT_TRUE(m_Stream.IsEOF());
}

}  // namespace
