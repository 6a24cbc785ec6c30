// What goes into a BlockWriter comes out of it, in order, once; the first failure is kept.

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

TEST(BlockWriterTest, KeepsTheFirstFailureAndWritesNoMore) {
    const struct {
        int failingCall;
        const char* finish;
        const char* outcome;
    } rows[] = {{1000, "", ""}, {1, "", "write 1"}, {3, "end", "write 3"}, {11, "", "write 11"}, {1000, "end", "end"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.outcome) + " is to be told");
        codec::StringSink sink;
        sink.failingCall = row.failingCall;
        sink.finish.text = row.finish;
        BlockWriter writer(sink, 100, 2);
        int taken = 0;
        for (int count = 0; count < 10; ++count) {
            taken += writer.Append(codec::BytesOf(std::string(100, 'x'))) ? 1 : 0;
        }
        EXPECT_TRUE(writer.Append(codec::BytesOf("rest"))) << "no block was handed over, so there are no news";
        // Two blocks: the failure shows one hand-over later at the latest.
        EXPECT_TRUE(row.failingCall > 10 ? taken == 10 : taken == row.failingCall - 1 || taken == row.failingCall);
        EXPECT_EQ(writer.Finish().text, row.outcome);
        EXPECT_EQ(sink.calls, std::min(row.failingCall, 11));
    }
}

TEST(BlockWriterTest, GivesOnWhatTheSinkThrows) {
    struct ExhaustedSink final : codec::ByteSink {
        codec::OutputOutcome Write(std::span<const std::uint8_t>) override { throw std::bad_alloc(); }
        codec::OutputOutcome Finish() override { return {}; }
    } sink;
    BlockWriter writer(sink);
    EXPECT_TRUE(writer.Append(codec::BytesOf("x")));
    EXPECT_THROW(static_cast<void>(writer.Finish()), std::bad_alloc);
}

TEST(BlockWriterTest, IsDroppedWithoutBeingFinished) {
    codec::StringSink sink;
    EXPECT_TRUE(BlockWriter(sink).Append(codec::BytesOf("never handed over")));
    EXPECT_TRUE(sink.calls == 0 && !sink.isFinished);
}

}  // namespace
}  // namespace velora::output
