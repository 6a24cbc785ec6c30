// Merge and squish on blocks so small that disorder reaches over them.

#include <random>

#include <gtest/gtest.h>

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

void ExpectAsTheModel(const std::vector<std::string>& files, bool isSquish, const input::BlockPlan& plan) {
    std::vector<capture::InputFile> opened;
    for (const std::string& file : files) {
        opened.push_back(std::get<capture::InputFile>(capture::OpenInput(capture::ByteSource::Memory(file))));
    }
    output::RunProgress progress;
    input::InputSet inputs(std::move(opened), plan, {.ordersBlocks = !isSquish}, progress.bytesRead,
                           [](std::size_t, bool, const capture::Problem&) {});
    output::Ledger ledger(files.size(), progress);
    std::vector<std::unique_ptr<RecordSource>> sources;
    for (std::uint32_t number = 0; number < files.size(); ++number) {
        if (isSquish) {
            sources.push_back(std::make_unique<FileOrder>(inputs, number, ledger));
        } else {
            sources.push_back(std::make_unique<ReorderWindow>(inputs, number, ledger));
        }
    }
    codec::StringSink bytes;
    output::BlockWriter writer(bytes);
    output::ClassicSink sink(writer, {.format = capture::Format::kClassicNanoseconds, .snapLen = 65535}, ledger);
    constexpr std::uint32_t kWhole = std::numeric_limits<std::uint32_t>::max();
    ASSERT_TRUE(isSquish ? Squish(sources, kWhole, sink) : MergeByTime(sources, kWhole, sink));
    ASSERT_TRUE(sink.Finish().IsGood());

    std::vector<Records> orders;
    for (const std::string& file : files) {
        const capture::ReadCapture read = capture::ReadWhole(file, {.blockSize = plan.blockSize});
        const NaiveOrder order = isSquish ? NaiveOrder{read.Records()} : Mended(read.blocks);
        const output::SourceCounts& counts = ledger.Of(static_cast<std::uint32_t>(orders.size()));
        ASSERT_EQ(counts.outOfPlace, order.outOfPlace);
        ASSERT_EQ(counts.largestStep, order.largestStep);
        ASSERT_EQ(counts.recordsWritten, order.records.size());
        orders.push_back(order.records);
    }
    ASSERT_TRUE(bytes.content == NaiveFile(CaptureBuilder().Nanoseconds(), 1, orders, isSquish));
}

TEST(MergeTest, AgreesWithTheNaiveModelAndSoDoesTheSquish) {
    for (unsigned seed = 1; seed <= 200; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const RandomInputs random(seed);
        ASSERT_NO_FATAL_FAILURE(ExpectAsTheModel(random.files, false, random.plan));
        ASSERT_NO_FATAL_FAILURE(ExpectAsTheModel(random.files, true, random.plan));
    }
}

// A step from the latest time that there is to the earliest: what follows goes on from the time reached.
TEST(SquishTest, NeverGoesBackAtTheEndsOfTime) {
    constexpr std::uint64_t kAll = ~std::uint64_t{0};
    PcapNgBuilder file = PcapNgBuilder::Empty().Section();
    for (const char sign : {'\0', '\x80'}) {
        const std::string offset = file.Option(14, std::string(7, '\0') + sign);
        file.Interface(1, 0, file.Option(9, "\x09") + offset);
    }
    file.PacketOf(0, 0, "a").PacketOf(0, kAll, "b").PacketOf(1, 0, "c").PacketOf(0, 5, "d").PacketOf(0, kAll, "e");
    const std::string other = CaptureBuilder().Nanoseconds().Record(0, 0, "A").Record(-1, 999999999, "B").Bytes();
    ExpectAsTheModel({file.Bytes(), other}, true, {});
}

}  // namespace
}  // namespace velora::merge
