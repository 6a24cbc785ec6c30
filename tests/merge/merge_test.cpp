// Merge and squish on blocks so small that disorder reaches over them, against the naive model.

#include <cstring>
#include <random>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include "tests/codec/string_sink.h"
#include "tests/merge/naive_order.h"
#include "velora/input/input_set.h"
#include "velora/merge/file_order.h"
#include "velora/merge/k_way_merge.h"
#include "velora/merge/reorder_window.h"
#include "velora/merge/squish.h"
#include "velora/output/classic_sink.h"

namespace velora::merge {
namespace {

constexpr std::uint32_t kWhole = std::numeric_limits<std::uint32_t>::max();

enum class Algorithm { kMerge, kSquish };

struct Merged {
    std::string bytes;  // a file of nanoseconds
    std::vector<output::SourceCounts> tallies;
};

Merged MergedFrom(const std::vector<std::string>& files, Algorithm algorithm, const input::BlockPlan& plan) {
    const bool isMerge = algorithm == Algorithm::kMerge;
    std::vector<capture::InputFile> opened;
    for (const std::string& file : files) {
        opened.push_back({MiscUtils::UniqueFd(memfd_create("input", MFD_CLOEXEC)), true, file.size()});
        EXPECT_EQ(pwrite(opened.back().fd.Get(), file.data(), file.size(), 0), static_cast<ssize_t>(file.size()));
    }
    output::RunProgress progress;
    input::InputSet inputs(std::move(opened), plan, {.ordersBlocks = isMerge}, progress.bytesRead,
                           [](std::size_t, bool, const capture::Problem&) {});
    output::Ledger ledger(files.size(), progress);
    std::vector<std::unique_ptr<RecordSource>> sources;
    for (std::uint32_t number = 0; number < files.size(); ++number) {
        if (isMerge) {
            sources.push_back(std::make_unique<ReorderWindow>(inputs, number, ledger));
        } else {
            sources.push_back(std::make_unique<FileOrder>(inputs, number, ledger));
        }
    }
    codec::StringSink bytes;
    output::BlockWriter writer(bytes);
    output::ClassicSink sink(writer, {.format = capture::Format::kClassicNanoseconds, .snapLen = 65535}, ledger);
    EXPECT_TRUE(isMerge ? MergeByTime(sources, kWhole, sink) : Squish(sources, kWhole, sink));
    EXPECT_TRUE(sink.Finish().IsGood());
    Merged merged{.bytes = bytes.content, .tallies = {}};
    for (std::uint32_t number = 0; number < files.size(); ++number) {
        merged.tallies.push_back(std::move(ledger.Of(number)));
    }
    return merged;
}

// One to nine inputs in any disorder, and blocks in which it reaches from one into another.
struct RandomInputs {
    explicit RandomInputs(unsigned seed) {
        std::mt19937 random(seed);
        const auto upTo = [&random](int most) { return std::uniform_int_distribution(0, most)(random); };
        plan = {.blocksPerInput = seed % 3 == 0 ? 2U : 3U, .blockSize = static_cast<std::size_t>(64 + upTo(400))};
        const int disorder = std::vector{0, 3, 30, 1000}[static_cast<std::size_t>(upTo(3))];
        for (int left = upTo(8); left >= 0; --left) {
            CaptureBuilder file = CaptureBuilder().Nanoseconds();
            int time = 1000 + upTo(10);
            for (int records = upTo(80); records > 0; --records) {
                time += upTo(2);
                const std::string data = std::string(static_cast<std::size_t>(upTo(60)), 'x');
                file.Record(5, time - upTo(disorder), data + static_cast<char>(upTo(255)));
            }
            files.push_back(file.Bytes());
        }
    }
    input::BlockPlan plan;
    std::vector<std::string> files;
};

TEST(MergeTest, AgreesWithTheNaiveModel) {
    for (unsigned seed = 1; seed <= 200; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const RandomInputs random(seed);
        const Merged merged = MergedFrom(random.files, Algorithm::kMerge, random.plan);
        std::vector<Records> orders;
        for (const std::string& file : random.files) {
            const NaiveOrder order = Mended(capture::ReadWhole(file, {.blockSize = random.plan.blockSize}).blocks);
            const output::SourceCounts& tally = merged.tallies[orders.size()];
            ASSERT_EQ(tally.outOfPlace, order.outOfPlace);
            ASSERT_EQ(tally.largestStep, order.largestStep);
            ASSERT_EQ(tally.recordsWritten, order.records.size());
            orders.push_back(order.records);
        }
        ASSERT_TRUE(merged.bytes == NaiveFile(CaptureBuilder().Nanoseconds(), 1, orders, false));
    }
}

TEST(SquishTest, AgreesWithTheNaiveModel) {
    for (unsigned seed = 1; seed <= 200; ++seed) {
        const RandomInputs random(seed);
        std::vector<Records> orders;
        for (const std::string& file : random.files) {
            orders.push_back(capture::ReadWhole(file).Records());
        }
        ASSERT_TRUE(MergedFrom(random.files, Algorithm::kSquish, random.plan).bytes ==
                    NaiveFile(CaptureBuilder().Nanoseconds(), 1, orders, true))
            << "seed " << seed;
    }
}

TEST(MergeTest, MendsDisorderWithinTwoBlocks) {
    using Seconds = std::vector<int>;
    // The input has three records in its first block, and four in each that follows.
    const auto merged = [](const Seconds& input, std::uint64_t outOfPlace, std::int64_t largestStep) {
        CaptureBuilder file;
        for (const int second : input) {
            file.Record(second, 0, "x");
        }
        const Merged result = MergedFrom({file.Bytes()}, Algorithm::kMerge, {.blocksPerInput = 2, .blockSize = 75});
        EXPECT_EQ(result.tallies[0].outOfPlace, outOfPlace);
        EXPECT_EQ(result.tallies[0].largestStep, largestStep * 1'000'000'000);
        Seconds written;
        for (const auto& record : capture::ReadWhole(result.bytes).Records()) {
            written.push_back(static_cast<int>(record.time / 1'000'000'000));
        }
        return written;
    };
    EXPECT_EQ(merged({3, 5, 7, 1, 2, 4, 6, 8}, 0, 0), (Seconds{1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(merged({3, 5, 7, 4, 6, 8, 9, 1}, 1, 6), (Seconds{3, 4, 5, 6, 7, 1, 8, 9})) << "too late: at once";
    EXPECT_EQ(merged({1, 9, 2, 3, 4, 5, 6, 7, 8}, 2, 2), (Seconds{1, 2, 3, 4, 5, 6, 9, 7, 8}))
        << "one far ahead goes with its blocks, and makes those behind it late";
}

// A step from the latest time that there is to the earliest: what follows goes on from the time reached.
TEST(SquishTest, NeverGoesBackAtTheEndsOfTime) {
    constexpr std::uint64_t kAll = ~std::uint64_t{0};
    const auto nanoseconds = [](const char* offset) {
        const PcapNgBuilder any;
        return any.Option(9, "\x09") + any.Option(14, std::string(offset, 8));
    };
    PcapNgBuilder file = PcapNgBuilder::Empty().Section();
    file.Interface(1, 0, nanoseconds("\0\0\0\0\0\0\0\0")).Interface(1, 0, nanoseconds("\0\0\0\0\0\0\0\x80"));
    file.PacketOf(0, 0, "a").PacketOf(0, kAll, "b").PacketOf(1, 0, "c").PacketOf(0, 5, "d").PacketOf(0, kAll, "e");
    const std::string other = CaptureBuilder().Nanoseconds().Record(0, 0, "A").Record(-1, 999999999, "B").Bytes();
    std::string order;
    std::int64_t before = 0;
    const std::string merged = MergedFrom({file.Bytes(), other}, Algorithm::kSquish, {}).bytes;
    for (const auto& record : capture::ReadWhole(merged).Records()) {
        order += record.data;
        EXPECT_GE(record.time, std::exchange(before, record.time)) << record.data;
    }
    EXPECT_EQ(order, "aABbcde");
}

}  // namespace
}  // namespace velora::merge
