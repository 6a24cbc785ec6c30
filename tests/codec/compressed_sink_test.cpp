// What other programs' decompressors make of the compressed outputs.

#include "velora/codec/compressed_sink.h"

#include <gtest/gtest.h>
#include <zlib.h>
#include <zstd.h>

#include "tests/codec/string_sink.h"
#include "tests/support/limits.h"

namespace velora::codec {
namespace {

// What is in exactly one gzip member or zstd frame with a right checksum, or why there is none.
std::string Unpacked(Compression compression, const std::string& packed, std::size_t size) {
    std::string out(size + 1, '\0');
    if (compression == Compression::kZstd) {
        const std::size_t result = ZSTD_decompress(out.data(), out.size(), packed.data(), packed.size());
        return ZSTD_isError(result) != 0 ? ZSTD_getErrorName(result) : out.substr(0, result);
    }
    z_stream stream{};
    inflateInit2(&stream, 16 + MAX_WBITS);
    stream.next_in = const_cast<Bytef*>(BytesOf(packed).data());
    stream.avail_in = static_cast<uInt>(packed.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    const int result = inflate(&stream, Z_FINISH);
    inflateEnd(&stream);
    return result == Z_STREAM_END && stream.avail_in == 0 ? out.substr(0, stream.total_out) : "no whole member";
}

TEST(CompressedSinkTest, MakesOneMemberThatOthersReadAndFinishesWhatIsBelow) {
    const std::string contents[] = {"", "x", std::string(3'000'000, 'x'), Noise(3'000'000)};
    for (const std::string& content : contents) {
        for (const auto& [compression, threads] :
             {std::pair{Compression::kGzip, 1U}, {Compression::kZstd, 1U}, {Compression::kZstd, 3U}}) {
            SCOPED_TRACE(NameOf(compression) + std::to_string(threads) + " of " + std::to_string(content.size()));
            StringSink below;
            below.finish.text = "told by the sink below";
            const auto sink = MakeCompressedSink(compression, below, threads);
            const std::size_t half = content.size() / 2;
            EXPECT_TRUE(sink->Write(BytesOf(content).first(half)).IsGood());
            EXPECT_TRUE(sink->Write(BytesOf(content).subspan(half)).IsGood());
            EXPECT_EQ(sink->Finish().text, below.finish.text);
            std::string& packed = below.content;
            EXPECT_TRUE(Unpacked(compression, packed, content.size()) == content);
            EXPECT_LT(packed.size(), content == contents[3] ? 3'003'000U : 20'000U);
            const bool isGzip = compression == Compression::kGzip;
            EXPECT_TRUE(!isGzip || packed.starts_with(std::string("\x1f\x8b\x08\0\0\0\0\0", 8))) << "no name, no time";
            packed.back() = static_cast<char>(packed.back() ^ 1);
            EXPECT_NE(Unpacked(compression, packed, content.size()).size(), content.size()) << "nobody notices";
        }
    }
}

TEST(CompressedSinkTest, EndsAtTheFirstFailureBelow) {
    const std::string noise = Noise(3'000'000);
    for (const auto compression : {Compression::kGzip, Compression::kZstd}) {
        StringSink below;
        below.failingCall = 3;
        const auto sink = MakeCompressedSink(compression, below, 2);
        static_cast<void>(sink->Write(BytesOf(noise)));
        EXPECT_EQ(sink->Finish().text, "write 3") << NameOf(compression);
    }
}

// The process of an ordinary user may not have another thread, with a limit of none.
TEST(CompressedSinkTest, DoesWithTheCallersThreadWhereThereIsNoOther) {
    const std::string content = Noise(300'000);
    EXPECT_TRUE(HoldsForOrdinaryUser([&] {
        const ScopedLimit noThreads(RLIMIT_NPROC, 0);
        StringSink below;
        const auto sink = MakeCompressedSink(Compression::kZstd, below, 3);
        return sink->Write(BytesOf(content)).IsGood() && sink->Finish().IsGood() &&
               Unpacked(Compression::kZstd, below.content, content.size()) == content;
    }));
}

}  // namespace
}  // namespace velora::codec
