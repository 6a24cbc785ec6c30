// Compressing where the system gives no threads.

#include <gtest/gtest.h>
#include <zstd.h>

#include "tests/codec/string_sink.h"
#include "tests/support/limits.h"
#include "velora/codec/compressed_sink.h"

namespace velora::codec {
namespace {

// The process of an ordinary user may not have another thread, with a limit of none.
TEST(LackOfThreadsTest, ZstdDoesWithTheCallersOwn) {
    const std::string content = Noise(300'000);
    EXPECT_TRUE(HoldsForOrdinaryUser([&] {
        const ScopedLimit noThreads(RLIMIT_NPROC, 0);
        StringSink below;
        const auto sink = MakeCompressedSink(Compression::kZstd, below, 3);
        if (!sink->Write(BytesOf(content)).IsGood() || !sink->Finish().IsGood()) {
            return false;
        }
        std::string unpacked(content.size(), '\0');
        const std::size_t size =
            ZSTD_decompress(unpacked.data(), unpacked.size(), below.content.data(), below.content.size());
        return size == content.size() && unpacked == content;
    }));
}

}  // namespace
}  // namespace velora::codec
