#include <cerrno>
#include <memory>

#include <bzlib.h>
#include <gtest/gtest.h>

#include "iowrap/bzip2_stream.h"
#include "iowrap/gzip_stream.h"
#include "iowrap/plain_stream.h"
#include "tests/support/capture_builder.h"
#include "tests/support/file_trees.h"

namespace {

template <typename Stream>
std::unique_ptr<CIOWrap> Make() {
    return std::make_unique<Stream>();
}

class StreamTest : public testing::Test {
 protected:
    // What the next `count` bytes are; "no" when they cannot be read.
    static std::string Next(CIOWrap& stream, std::uint32_t count) {
        std::string bytes(64, '?');
        return stream.Read(bytes.data(), count) ? bytes.substr(0, count) : "no";
    }

    void Open(CIOWrap& stream, const std::string& bytes) {
        ASSERT_TRUE(stream.Open(m_Directory.Write("file", bytes).c_str(), "rb"));
    }

    TempDir m_Directory;
};

TEST_F(StreamTest, ReadsExactCountsMeetsTheEndAndRewinds) {
    // Columns: name, class, a file of it that holds "abcdefghij", and what a request for 0 bytes gives.
    const std::tuple<const char*, std::unique_ptr<CIOWrap> (*)(), std::string, const char*> variants[] = {
        {"plain", Make<CIOWrap_Plain>, "abcdefghij", "no"},
        {"gzip", Make<CIOWrap_GZip>, Gzip("abcdefghij"), ""},
        {"bzip2", Make<CIOWrap_BZip2>, Bzip2("abcdefghij"), ""}};
    const auto before = OpenDescriptors();
    for (const auto& [name, make, stored, nothing] : variants) {
        SCOPED_TRACE(name);
        std::unique_ptr<CIOWrap> stream = make();
        for (int round = 0; round < 2; ++round) {
            Open(*stream, stored);
            EXPECT_EQ(Next(*stream, 4), "abcd");
            stream->Close();
            stream->Close();
            EXPECT_EQ(OpenDescriptors(), before);
        }
        Open(*stream, stored);
        EXPECT_EQ(Next(*stream, 4), "abcd");
        EXPECT_EQ(Next(*stream, 0), nothing);
        EXPECT_FALSE(stream->IsEOF());
        EXPECT_EQ(Next(*stream, 5), "efghi");
        EXPECT_EQ(Next(*stream, 2), "no") << "one byte is left";
        EXPECT_TRUE(stream->IsEOF());
        EXPECT_GE(stream->Prefetch(), 0);
        stream.reset();
        EXPECT_EQ(OpenDescriptors(), before) << "the destructor closes";
    }
}

TEST_F(StreamTest, GzipEndsCleanlyWhereTheFileWasCutAndFailsOnDamage) {
    const std::string content(100000, 'x');
    std::string bytes = Gzip(content);
    CIOWrap_GZip cut;
    Open(cut, bytes.substr(0, bytes.size() / 2));
    while (Next(cut, 64) != "no") {
    }
    EXPECT_TRUE(cut.IsEOF());
    EXPECT_EQ(Next(cut, 0x80000000U), "no");
    EXPECT_FALSE(cut.IsEOF()) << "what zlib refuses is not the end";
    EXPECT_EQ(cut.GetError(), 0);

    bytes[bytes.size() - 6] ^= 0x55;  // the checksum behind the data
    CIOWrap_GZip damaged;
    Open(damaged, bytes);
    std::size_t delivered = 0;
    while (Next(damaged, 1) != "no") {
        ++delivered;
    }
    EXPECT_GT(delivered, content.size() / 2) << "all but what zlib inflates in one go";
    EXPECT_LT(delivered, content.size());
    EXPECT_FALSE(damaged.IsEOF());
    EXPECT_EQ(damaged.GetError(), 0);

    CIOWrap_GZip plain;
    Open(plain, "not compressed");
    EXPECT_EQ(Next(plain, 14), "not compressed");
}

// The end of the first stream is the end, even when it comes with the last bytes that were asked for.
TEST_F(StreamTest, Bzip2EndsWithTheStreamAndKeepsTheLibrarysCodeAsError) {
    // Columns: name, file, what is read first, and the size and the code of the second.
    const std::tuple<const char*, std::string, std::string, std::uint32_t, int> rows[] = {
        {"the end", Bzip2("abcdef"), "abcd", 2, BZ_OK},
        {"two streams", Bzip2("abcdef") + Bzip2("ghijkl"), "abcd", 2, BZ_OK},
        {"more than an int", Bzip2("abcdef"), "abcd", 0x80000000U, BZ_PARAM_ERROR},
        {"cut", Bzip2(std::string(500, 'x')).substr(0, 20), "", 4, BZ_UNEXPECTED_EOF},
        {"not bzip2", "no bzip2 file", "", 4, BZ_DATA_ERROR_MAGIC},
        {"empty", "", "", 4, BZ_UNEXPECTED_EOF}};
    for (const auto& [name, bytes, first, count, error] : rows) {
        SCOPED_TRACE(name);
        CIOWrap_BZip2 stream;
        Open(stream, bytes);
        EXPECT_EQ(Next(stream, static_cast<std::uint32_t>(first.size())), first);
        EXPECT_FALSE(stream.IsEOF());
        EXPECT_EQ(Next(stream, count), "no");
        EXPECT_EQ(stream.IsEOF(), error == BZ_OK);
        EXPECT_EQ(stream.GetError(), error);
        EXPECT_EQ(Next(stream, 2), "no") << "a second stream is not read";
    }
}

TEST_F(StreamTest, PlainReportsTheSystemsErrorOfAFailedRead) {
    CIOWrap_Plain stream;
    ASSERT_TRUE(stream.Open(m_Directory.Path().c_str(), "rb")) << "a directory opens";
    EXPECT_EQ(Next(stream, 4), "no");
    EXPECT_FALSE(stream.IsEOF());
    EXPECT_EQ(stream.GetError(), EISDIR);
}

}  // namespace
