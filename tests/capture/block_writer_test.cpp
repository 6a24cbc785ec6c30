// What goes into a BlockWriter comes out of it, in order, once; the first failure is kept.

#include "capture/block_writer.h"

#include <algorithm>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "tests/capture/string_sink.h"

namespace velora::capture {
namespace {

TEST(BlockWriterTest, GivesAllBytesInOrder) {
    const unsigned seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    for (const std::size_t blockSize : {64U, 65U, 4096U}) {
        for (const std::size_t blocks : {2U, 4U}) {
            StringSink sink;
            std::string expected;
            BlockWriter writer(sink, blockSize, blocks);
            for (int step = 0; step < 3000; ++step) {
                std::string piece(random() % (step % 100 == 0 ? 3 * blockSize : 70), '\0');
                std::generate(piece.begin(), piece.end(), [&] { return static_cast<char>(random()); });
                if (step % 3 == 0 && piece.size() <= BlockWriter::kMostReserved) {
                    std::copy(piece.begin(), piece.end(), writer.Reserve(piece.size()));
                    EXPECT_TRUE(writer.Commit(piece.size()));
                } else {
                    EXPECT_TRUE(writer.Append(BytesOf(piece)));
                }
                EXPECT_TRUE(step % 50 != 7 || writer.Flush());
                expected += piece;
            }
            EXPECT_TRUE(writer.Append({}));
            EXPECT_TRUE(writer.Finish().IsGood());
            EXPECT_TRUE(sink.content == expected) << blockSize << ' ' << blocks;
            EXPECT_TRUE(sink.isFinished);
        }
    }
}

TEST(BlockWriterTest, KeepsTheFirstFailureAndWritesNoMore) {
    const struct {
        const char* name;
        int failingCall;
        OutputOutcome finish;
        const char* text;
    } rows[] = {
        {"no failure", 1000, {}, ""},
        {"the first write", 1, {}, "write 1"},
        {"a later write", 3, {.kind = OutputOutcome::Kind::kCannot, .text = "finish"}, "write 3"},
        {"the last write", 11, {}, "write 11"},
        {"the end", 1000, {.kind = OutputOutcome::Kind::kTaken, .text = "taken"}, "taken"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        StringSink sink;
        sink.failingCall = row.failingCall;
        sink.finish = row.finish;
        BlockWriter writer(sink, 100, 2);
        int taken = 0;
        const std::string block(100, 'x');
        for (int count = 0; count < 10; ++count) {
            taken += writer.Append(BytesOf(block)) ? 1 : 0;
        }
        EXPECT_TRUE(writer.Append(BytesOf("rest")));  // no hand-over, no news
        EXPECT_TRUE(row.failingCall > 10 ? taken == 10 : taken >= row.failingCall - 1 && taken <= row.failingCall + 1);
        const OutputOutcome outcome = writer.Finish();
        EXPECT_EQ(outcome.text, row.text);
        EXPECT_EQ(outcome.IsGood(), *row.text == '\0');
        EXPECT_EQ(sink.calls, std::min(row.failingCall, 11));
        EXPECT_TRUE(sink.isFinished);
    }
}

TEST(BlockWriterTest, IsDroppedWithoutBeingFinished) {
    StringSink sink;
    {
        BlockWriter writer(sink, 100, 2);
        EXPECT_TRUE(writer.Append(BytesOf("never handed over")));
    }
    EXPECT_EQ(sink.calls, 0);
    EXPECT_FALSE(sink.isFinished);
}

}  // namespace
}  // namespace velora::capture
