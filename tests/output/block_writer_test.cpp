// What goes into a BlockWriter comes out of it, in order, once. What becomes of failures: capture_writer_test.cpp.

#include "velora/output/block_writer.h"

#include <gtest/gtest.h>

#include "tests/codec/string_sink.h"

namespace velora::output {
namespace {

TEST(BlockWriterTest, GivesAllBytesInOrder) {
    const std::string content = codec::Noise(150'000);
    for (const auto& [blockSize, blocks] : {std::pair<std::size_t, std::size_t>{64, 1}, {64, 2}, {65, 4}, {4096, 2}}) {
        SCOPED_TRACE(blockSize);
        codec::StringSink sink;
        BlockWriter writer(sink, blockSize, blocks);
        std::mt19937 random(1);
        std::string_view rest = content;
        for (int step = 0; !rest.empty(); ++step) {
            const std::size_t wanted = random() % (step % 100 == 0 ? 3 * blockSize : BlockWriter::kMostReserved + 1);
            const std::string_view piece = rest.substr(0, wanted);
            if (step % 3 == 0 && piece.size() <= BlockWriter::kMostReserved) {
                std::copy(piece.begin(), piece.end(), writer.Reserve());
                EXPECT_TRUE(writer.Commit(piece.size()));
            } else {
                EXPECT_TRUE(writer.Append(piece.empty() ? std::span<const std::uint8_t>() : codec::BytesOf(piece)));
            }
            EXPECT_TRUE(step % 50 != 7 || writer.Flush());
            rest.remove_prefix(piece.size());
        }
        EXPECT_TRUE(writer.Finish().IsGood());
        EXPECT_TRUE(sink.content == content && sink.isFinished);
    }
}

}  // namespace
}  // namespace velora::output
