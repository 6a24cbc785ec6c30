// What other programs' decompressors make of the compressed outputs.

#include "capture/compressed_sink.h"

#include <random>
#include <string>

#include <gtest/gtest.h>
#include <zlib.h>
#include <zstd.h>

#include "tests/capture/string_sink.h"

namespace velora::capture {
namespace {

// What is in exactly one gzip member with its checksum, or why there is none.
std::string Gunzipped(const std::string& bytes, std::size_t size) {
    std::string out(size + 1, '\0');
    z_stream stream{};
    inflateInit2(&stream, 16 + MAX_WBITS);
    stream.next_in = const_cast<Bytef*>(BytesOf(bytes).data());
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    const int result = inflate(&stream, Z_FINISH);
    const bool isWhole = result == Z_STREAM_END && stream.avail_in == 0;
    out.resize(stream.total_out);
    inflateEnd(&stream);
    return isWhole ? out : "no member: " + std::to_string(result);
}

std::string Unzstded(const std::string& bytes, std::size_t size) {
    std::string out(size + 1, '\0');
    const std::size_t result = ZSTD_decompress(out.data(), out.size(), bytes.data(), bytes.size());
    return ZSTD_isError(result) != 0 ? std::string("no frame: ") + ZSTD_getErrorName(result) : out.substr(0, result);
}

TEST(CompressedSinkTest, MakesOneMemberThatOthersRead) {
    std::mt19937 random(1);
    std::string noise(3'000'000, '\0');
    std::generate(noise.begin(), noise.end(), [&] { return static_cast<char>(random()); });
    for (const std::string& content : {std::string(), std::string("x"), std::string(3'000'000, 'x'), noise}) {
        for (const unsigned threads : {0U, 1U, 3U}) {  // 0: gzip
            SCOPED_TRACE(std::to_string(content.size()) + " bytes, " + std::to_string(threads) + " threads");
            StringSink below;
            const auto sink =
                MakeCompressedSink(threads == 0 ? Compression::kGzip : Compression::kZstd, below, threads);
            for (std::size_t at = 0; at < content.size(); at += 700'000) {
                EXPECT_TRUE(
                    sink->Write(BytesOf(content).subspan(at, std::min<std::size_t>(700'000, content.size() - at)))
                        .IsGood());
            }
            EXPECT_TRUE(sink->Finish().IsGood());
            EXPECT_TRUE(below.isFinished);
            std::string& packed = below.content;
            EXPECT_TRUE((threads == 0 ? Gunzipped : Unzstded)(packed, content.size()) == content);
            EXPECT_LT(packed.size(), content == noise ? 3'003'000U : 20'000U);
            if (threads == 0) {
                EXPECT_EQ(packed.substr(0, 8), std::string("\x1f\x8b\x08\0\0\0\0\0", 8)) << "no name, no time";
            } else {
                packed.back() = static_cast<char>(packed.back() ^ 1);
                EXPECT_EQ(Unzstded(packed, content.size()), "no frame: Restored data doesn't match checksum");
            }
        }
    }
}

TEST(CompressedSinkTest, TellsWhatIsBelowAndFinishesNothingThatFailed) {
    std::mt19937 random(1);
    std::string noise(3'000'000, '\0');
    std::generate(noise.begin(), noise.end(), [&] { return static_cast<char>(random()); });
    for (const auto compression : {Compression::kGzip, Compression::kZstd}) {
        for (const int failingCall : {1, 3, 1000}) {
            SCOPED_TRACE(std::string(NameOf(compression)) + ", write " + std::to_string(failingCall));
            StringSink below;
            below.failingCall = failingCall;
            below.finish = {.kind = OutputOutcome::Kind::kTaken, .text = "taken"};
            const auto sink = MakeCompressedSink(compression, below, 2);
            const OutputOutcome written = sink->Write(BytesOf(noise));
            const OutputOutcome finished = sink->Finish();
            EXPECT_EQ(finished.text, failingCall == 1000 ? "taken" : "write " + std::to_string(failingCall));
            EXPECT_TRUE(written.IsGood() || written.text == finished.text);
            EXPECT_EQ(below.isFinished, failingCall == 1000);
        }
    }
    StringSink below;
    EXPECT_EQ(MakeCompressedSink(Compression::kXz, below, 1), nullptr);
}

}  // namespace
}  // namespace velora::capture
