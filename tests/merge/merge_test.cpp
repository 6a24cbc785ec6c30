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

TEST(MergeTest, AgreesWithTheNaiveModel) {
    for (unsigned seed = 1; seed <= 400; ++seed) {
        std::mt19937 random(seed);
        const auto upTo = [&random](int most) { return std::uniform_int_distribution(0, most)(random); };
        const auto algorithm = seed % 2 == 0 ? Algorithm::kMerge : Algorithm::kSquish;
        const input::BlockPlan plan{.blocksPerInput = seed % 3 == 0 ? 2U : 3U,
                                    .blockSize = static_cast<std::size_t>(64 + upTo(400))};
        const int farness = std::vector{0, 3, 30, 1000}[static_cast<std::size_t>(upTo(3))];  // of disorder
        std::vector<std::string> files;
        std::vector<Records> orders;
        std::vector<NaiveOrder> mended;
        for (int left = upTo(5); left >= 0; --left) {
            CaptureBuilder file = CaptureBuilder().Nanoseconds();
            int time = upTo(10);
            for (int records = upTo(80); records > 0; --records) {
                time += upTo(2);
                file.Record(5, time + 1000 - upTo(farness),
                            std::string(static_cast<std::size_t>(upTo(60)), 'x') + static_cast<char>(upTo(255)));
            }
            files.push_back(file.Bytes());
            mended.push_back(Mended(capture::ReadWhole(files.back(), {.blockSize = plan.blockSize}).blocks));
            orders.push_back(algorithm == Algorithm::kMerge ? mended.back().records
                                                            : capture::ReadWhole(files.back()).Records());
        }
        const Merged merged = MergedFrom(files, algorithm, plan);
        ASSERT_TRUE(merged.bytes ==
                    NaiveFile(CaptureBuilder().Nanoseconds(), 1, orders, algorithm == Algorithm::kSquish))
            << "seed " << seed;
        for (std::size_t input = 0; algorithm == Algorithm::kMerge && input < files.size(); ++input) {
            ASSERT_EQ(merged.tallies[input].outOfPlace, mended[input].outOfPlace) << "seed " << seed;
            ASSERT_EQ(merged.tallies[input].largestStep, mended[input].largestStep) << "seed " << seed;
            ASSERT_EQ(merged.tallies[input].recordsWritten, mended[input].records.size()) << "seed " << seed;
        }
    }
}

// Each digit is the time of a record; blocks hold 3, 4, 4, ... of them.
TEST(MergeTest, MendsDisorderWithinTwoBlocks) {
    struct Row {
        const char* times;
        const char* written;
        std::uint64_t outOfPlace;
        std::int64_t largestStep;
    };
    for (const Row& row : {Row{"123"
                               "4567",
                               "1234567", 0, 0},
                           Row{"357"
                               "1246"
                               "89",
                               "123456789", 0, 0},
                           Row{"987"
                               "6543",
                               "3456789", 0, 0},
                           // Behind the block before its own: written at once.
                           Row{"357"
                               "4689"
                               "1",
                               "34567189", 1, 6},
                           // One far ahead goes with its blocks, and those behind it that are earlier are counted.
                           Row{"192"
                               "3456"
                               "78",
                               "123456978", 2, 2},
                           Row{"999"
                               "8888"
                               "7777"
                               "6",
                               "8888999"
                               "6"
                               "7777",
                               5, 3}}) {
        CaptureBuilder file;
        for (const char time : std::string(row.times)) {
            file.Record(time - '0', 0, "x");
        }
        for (const std::size_t blocks : {2U, 3U}) {
            const Merged merged =
                MergedFrom({file.Bytes()}, Algorithm::kMerge, {.blocksPerInput = blocks, .blockSize = 75});
            std::string written;
            for (const auto& record : capture::ReadWhole(merged.bytes).Records()) {
                written += std::to_string(record.time / 1'000'000'000);
            }
            EXPECT_EQ(written, row.written);
            EXPECT_EQ(merged.tallies[0].outOfPlace, row.outOfPlace) << row.times;
            EXPECT_EQ(merged.tallies[0].largestStep, row.largestStep * 1'000'000'000) << row.times;
        }
    }
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
