#include <cerrno>
#include <memory>

#include <gtest/gtest.h>

#include "tests/support/capture_builder.h"
#include "tests/support/file_trees.h"
#include "velora/iowrap/bzip2_stream.h"
#include "velora/iowrap/gzip_stream.h"
#include "velora/iowrap/plain_stream.h"

namespace {

// What the next `count` bytes are; "no" when they cannot be read.
std::string Next(CIOWrap& stream, std::uint32_t count) {
    std::string bytes(64, '?');
    return stream.Read(bytes.data(), count) ? bytes.substr(0, count) : "no";
}

TEST(StreamTest, ReadsExactCountsMeetsTheEndAndRewinds) {
    // Columns: name, stream, a file of it that holds "abcdefghij", what a request for 0 bytes gives, and whether the
    // end is still told of after a request for 2 GiB, which zlib refuses.
    std::tuple<const char*, std::unique_ptr<CIOWrap>, std::string, const char*, bool> variants[] = {
        {"plain", std::make_unique<CIOWrap_Plain>(), "abcdefghij", "no", true},
        {"gzip", std::make_unique<CIOWrap_GZip>(), Gzip("abcdefghij"), "", false},
        {"bzip2", std::make_unique<CIOWrap_BZip2>(), Bzip2("abcdefghij"), "", true}};
    const auto before = OpenDescriptors();
    for (auto& [name, stream, stored, nothing, isStillEnd] : variants) {
        SCOPED_TRACE(name);
        const TempDir directory;
        const std::string path = directory.Write("file", stored);
        for (int round = 0; round < 2; ++round) {
            ASSERT_TRUE(stream->Open(path.c_str(), "rb"));
            EXPECT_EQ(Next(*stream, 4), "abcd");
            stream->Close();
            stream->Close();
            EXPECT_EQ(OpenDescriptors(), before);
        }
        ASSERT_TRUE(stream->Open(path.c_str(), "rb"));
        EXPECT_EQ(Next(*stream, 4), "abcd");
        EXPECT_EQ(Next(*stream, 0), nothing);
        EXPECT_FALSE(stream->IsEOF());
        EXPECT_EQ(Next(*stream, 5), "efghi");
        EXPECT_EQ(Next(*stream, 2), "no") << "one byte is left";
        EXPECT_TRUE(stream->IsEOF());
        EXPECT_EQ(Next(*stream, 0x80000000U), "no");
        EXPECT_EQ(stream->IsEOF(), isStillEnd);
        EXPECT_GE(stream->Prefetch(), 0);
        stream.reset();
        EXPECT_EQ(OpenDescriptors(), before) << "the destructor closes";
    }
}

TEST(StreamTest, PlainReportsTheSystemsErrorOfAFailedRead) {
    CIOWrap_Plain stream;
    ASSERT_TRUE(stream.Open("/dev", "rb")) << "a directory opens";
    EXPECT_EQ(Next(stream, 4), "no");
    EXPECT_FALSE(stream.IsEOF());
    EXPECT_EQ(stream.GetError(), EISDIR);
}

}  // namespace
