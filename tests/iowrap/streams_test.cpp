#include <cerrno>
#include <filesystem>
#include <functional>
#include <memory>

#include <bzlib.h>
#include <gtest/gtest.h>

#include "iowrap/bzip2_stream.h"
#include "iowrap/gzip_stream.h"
#include "iowrap/plain_stream.h"
#include "tests/support/capture_builder.h"
#include "tests/support/temp_dir.h"

namespace {

std::size_t OpenDescriptors() {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator()));
}

struct Variant {
    const char* name;
    std::function<std::unique_ptr<CIOWrap>()> make;
    std::function<std::string(std::string_view)> store;
    bool readsNothing;  // whether a request for 0 bytes succeeds
};

const Variant kVariants[] = {
    {"plain", [] { return std::make_unique<CIOWrap_Plain>(); },
     [](std::string_view bytes) { return std::string(bytes); }, false},
    {"gzip", [] { return std::make_unique<CIOWrap_GZip>(); }, Gzip, true},
    {"bzip2", [] { return std::make_unique<CIOWrap_BZip2>(); }, Bzip2, true},
};

class StreamTest : public testing::TestWithParam<Variant> {
 protected:
    TempDir m_Directory;
    std::unique_ptr<CIOWrap> m_pStream = GetParam().make();
    char m_Buffer[64] = {};
};

TEST_P(StreamTest, ReadsExactCountsAndMeetsTheEnd) {
    const std::string path = m_Directory.Write("file", GetParam().store("abcdefghij"));
    ASSERT_TRUE(m_pStream->Open(path.c_str(), "rb"));
    EXPECT_TRUE(m_pStream->Read(m_Buffer, 4));
    EXPECT_EQ(std::string(m_Buffer, 4), "abcd");
    EXPECT_EQ(m_pStream->Read(m_Buffer, 0), GetParam().readsNothing);
    EXPECT_FALSE(m_pStream->IsEOF());
    EXPECT_TRUE(m_pStream->Read(m_Buffer, 5));
    EXPECT_EQ(std::string(m_Buffer, 5), "efghi");
    EXPECT_FALSE(m_pStream->Read(m_Buffer, 2)) << "one byte is left";
    EXPECT_TRUE(m_pStream->IsEOF());
    EXPECT_GE(m_pStream->Prefetch(), 0);
}

TEST_P(StreamTest, RewindsByCloseAndOpen) {
    const std::string path = m_Directory.Write("file", GetParam().store("abcdefghij"));
    const std::size_t before = OpenDescriptors();
    for (int round = 0; round < 3; ++round) {
        ASSERT_TRUE(m_pStream->Open(path.c_str(), "rb"));
        ASSERT_TRUE(m_pStream->Read(m_Buffer, 6));
        EXPECT_EQ(std::string(m_Buffer, 6), "abcdef");
        m_pStream->Close();
        m_pStream->Close();
        EXPECT_EQ(OpenDescriptors(), before);
    }
    ASSERT_TRUE(m_pStream->Open(path.c_str(), "rb"));
    m_pStream.reset();
    EXPECT_EQ(OpenDescriptors(), before) << "the destructor closes";
}

INSTANTIATE_TEST_SUITE_P(Variants, StreamTest, testing::ValuesIn(kVariants),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(GZipStreamTest, EndsCleanlyWhereTheFileWasCutAndFailsOnDamage) {
    const TempDir directory;
    const std::string content(100000, 'x');
    std::string bytes = Gzip(content);
    char buffer[64];
    CIOWrap_GZip cut;
    ASSERT_TRUE(cut.Open(directory.Write("cut", bytes.substr(0, bytes.size() / 2)).c_str(), "rb"));
    while (cut.Read(buffer, sizeof buffer)) {
    }
    EXPECT_TRUE(cut.IsEOF());
    EXPECT_EQ(cut.GetError(), 0);

    bytes[bytes.size() - 6] ^= 0x55;  // the checksum behind the data
    CIOWrap_GZip damaged;
    ASSERT_TRUE(damaged.Open(directory.Write("damaged", bytes).c_str(), "rb"));
    std::size_t delivered = 0;
    while (damaged.Read(buffer, 1)) {
        ++delivered;
    }
    EXPECT_GT(delivered, content.size() / 2) << "all but what zlib inflates in one go";
    EXPECT_LT(delivered, content.size());
    EXPECT_FALSE(damaged.IsEOF());
    EXPECT_EQ(damaged.GetError(), 0);

    CIOWrap_GZip plain;
    ASSERT_TRUE(plain.Open(directory.Write("plain", "not compressed").c_str(), "rb"));
    ASSERT_TRUE(plain.Read(buffer, 14));
    EXPECT_EQ(std::string(buffer, 14), "not compressed");
}

TEST(BZip2StreamTest, TakesTheStreamEndForTheEndEvenWithTheLastBytes) {
    const TempDir directory;
    char buffer[64];
    CIOWrap_BZip2 stream;
    const std::string path = directory.Write("two", Bzip2("abcdef") + Bzip2("ghijkl"));
    ASSERT_TRUE(stream.Open(path.c_str(), "rb"));
    ASSERT_TRUE(stream.Read(buffer, 4));
    EXPECT_FALSE(stream.IsEOF());
    EXPECT_FALSE(stream.Read(buffer, 2));
    EXPECT_TRUE(stream.IsEOF());
    EXPECT_EQ(stream.GetError(), 0);
    EXPECT_FALSE(stream.Read(buffer, 2)) << "the second stream is not read";
    EXPECT_TRUE(stream.IsEOF());
}

TEST(BZip2StreamTest, KeepsTheLibrarysCodeAsError) {
    struct Row {
        const char* name;
        std::string bytes;
        std::uint32_t count;
        int error;
    };
    const Row rows[] = {
        {"not bzip2", "no bzip2 file", 4, BZ_DATA_ERROR_MAGIC},
        {"empty", "", 4, BZ_UNEXPECTED_EOF},
        {"cut", Bzip2(std::string(500, 'x')).substr(0, 20), 4, BZ_UNEXPECTED_EOF},
        {"more than an int", Bzip2("abc"), 0x80000000U, BZ_PARAM_ERROR},
    };
    for (const Row& row : rows) {
        const TempDir directory;
        char buffer[64];
        CIOWrap_BZip2 stream;
        ASSERT_TRUE(stream.Open(directory.Write("file", row.bytes).c_str(), "rb")) << row.name;
        EXPECT_FALSE(stream.Read(buffer, row.count)) << row.name;
        EXPECT_FALSE(stream.IsEOF()) << row.name;
        EXPECT_EQ(stream.GetError(), row.error) << row.name;
    }
}

TEST(PlainStreamTest, ReportsTheSystemsErrorOfAFailedRead) {
    const TempDir directory;
    char buffer[4];
    CIOWrap_Plain stream;
    ASSERT_TRUE(stream.Open(directory.Path().c_str(), "rb")) << "a directory opens";
    EXPECT_FALSE(stream.Read(buffer, sizeof buffer));
    EXPECT_FALSE(stream.IsEOF());
    EXPECT_EQ(stream.GetError(), EISDIR);
}

}  // namespace
