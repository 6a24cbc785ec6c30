// What a program gets that takes the records of many captures in order.

#include "velora/merge/ordered_merge.h"

#include <thread>

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/merge/naive_order.h"
#include "tests/merge/random_inputs.h"
#include "tests/support/temp_dir.h"
#include "velora/utils/scope_guards.h"

namespace velora::merge {
namespace {

using capture::ByteSource;
using enum capture::ProblemKind;
static_assert(std::ranges::input_range<OrderedMerge>);

ByteSource SmallPieces(std::string file) {
    return ByteSource::Function([left = std::move(file)](std::span<std::uint8_t> room) mutable {
        const std::string piece = left.substr(0, std::min<std::size_t>(room.size(), 7));
        std::ranges::copy(piece, room.begin());
        left.erase(0, piece.size());
        return static_cast<std::ptrdiff_t>(piece.size());
    });
}

// Descriptors of a pipe.
struct Pipe {
    Pipe() {
        int ends[2] = {};
        EXPECT_EQ(pipe(ends), 0);
        reading.Reset(ends[0]);
        writing.Reset(ends[1]);
    }
    MiscUtils::UniqueFd reading, writing;
};

ByteSource PipeWith(const std::string& file, Pipe& pipe) {
    EXPECT_EQ(write(pipe.writing.Get(), file.data(), file.size()), static_cast<ssize_t>(file.size()));
    pipe.writing.Reset();
    return ByteSource::Descriptor(pipe.reading.Get());
}

// Of at least 4 MiB, so that its last record, the earliest, is out of place.
std::string LongCapture() {
    CaptureBuilder file = CaptureBuilder().Nanoseconds();
    for (int record = 0; record < 4500; ++record) {
        file.Record(5, 1000 + (record ^ 511), std::string(1000, static_cast<char>(record)));
    }
    return file.Record(4, 0, "late").Bytes();
}

std::vector<std::pair<std::uint32_t, capture::ProblemKind>> KindsOf(const OrderedMerge& merge) {
    std::vector<std::pair<std::uint32_t, capture::ProblemKind>> kinds;
    for (const SourceProblem& one : merge.Problems()) {
        kinds.emplace_back(one.source, one.problem.kind);
    }
    return kinds;
}

// Of files, as they were named, all records in order and each with the number of its source; of those it accepts.
void ExpectAsTheModel(OrderedMerge merge, const std::vector<std::string>& files,
                      const std::function<bool(const capture::OwnedRecord&)>& isWanted) {
    std::vector<Records> expected, seen(files.size());
    for (const std::string& file : files) {
        expected.push_back(Mended(capture::ReadWhole(file).blocks).records);
        std::erase_if(expected.back(), std::not_fn(isWanted));
    }
    CaptureBuilder inOrder = CaptureBuilder().Nanoseconds();
    for (const capture::Record& record : merge) {
        const std::string data(record.Bytes().begin(), record.Bytes().end());
        seen[merge.Source()].push_back({record.time, record.originalLength, record.interface->number, data});
        inOrder.Record(static_cast<std::int32_t>(record.time / 1'000'000'000),
                       static_cast<std::int32_t>(record.time % 1'000'000'000), record.capturedLength,
                       record.originalLength, data);
        ASSERT_FALSE(merge.IsComplete());
    }
    EXPECT_EQ(merge.Next(), nullptr);
    ASSERT_EQ(seen, expected);
    ASSERT_TRUE(inOrder.Bytes() == NaiveFile(CaptureBuilder().Nanoseconds(), 1, expected, false));
    const bool hasDisorder = files.back().size() > 1'000'000;
    EXPECT_EQ(merge.IsComplete(), !hasDisorder);
    EXPECT_EQ(KindsOf(merge).size(), hasDisorder ? 1U : 0U);
}

TEST(OrderedMergeTest, AgreesWithTheNaiveModelWhateverItReadsFrom) {
    const TempDir directory;
    for (unsigned seed = 1; seed <= 40; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::vector<std::string> files = RandomInputs(seed).files;
        if (seed % 8 == 1) {
            files.push_back(LongCapture());
        }
        std::vector<Pipe> pipes(files.size());
        std::vector<ByteSource> sources;
        for (std::size_t number = 0; number < files.size(); ++number) {
            const std::string& file = files[number];
            const bool isLong = file.size() > 60000;
            sources.push_back(number % 4 == 0             ? ByteSource::Memory(file)
                              : number % 4 == 1 || isLong ? ByteSource(directory.Write(std::to_string(number), file))
                              : number % 4 == 2           ? PipeWith(file, pipes[number])
                                                          : SmallPieces(file));
        }
        MergeOptions options;
        if (seed % 2 == 0) {
            options.earliest = 5'000'001'005;
            options.latest = 5'000'001'050;
            options.accepts = [](const capture::Record& record, std::uint32_t /*source*/) {
                return record.originalLength % 2 == 0;
            };
        }
        ASSERT_NO_FATAL_FAILURE(
            ExpectAsTheModel(OrderedMerge(std::move(sources), options), files, [&](const capture::OwnedRecord& record) {
                return seed % 2 != 0 || (record.time >= options.earliest && record.time <= options.latest &&
                                         record.originalLength % 2 == 0);
            }));
    }
}

TEST(OrderedMergeTest, TellsWhatIsWrongByTheNumbersThatTheCallerKnows) {
    PcapNgBuilder builder = PcapNgBuilder::Empty().Section();
    const std::string good =
        builder.Interface(1, 0, builder.Option(2, "eth0")).PacketOf(0, 7, "good", builder.Option(1, "comment")).Bytes();
    const std::string cut = good.substr(0, good.size() - 1);
    OrderedMerge merge(
        {"/nowhere/at-all", ByteSource::Memory("no capture"), ByteSource::Memory(cut), ByteSource::Memory(good)});
    EXPECT_EQ(merge.Traits(0), nullptr);
    EXPECT_EQ(merge.Traits(1), nullptr);
    ASSERT_NE(merge.Traits(2), nullptr);
    EXPECT_FALSE(merge.Traits(2)->hasRecord);
    const capture::Record* const record = merge.Next();
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(merge.Source(), 3U);
    EXPECT_EQ(record->interface->name, "eth0");
    EXPECT_EQ(merge.Next(), nullptr);
    EXPECT_EQ(merge.NotGiven(3), (capture::Extras{.comments = 1}));
    EXPECT_EQ(merge.NotGiven(1), capture::Extras());
    EXPECT_FALSE(merge.IsComplete());
    using Kinds = decltype(KindsOf(merge));
    EXPECT_EQ(KindsOf(merge), (Kinds{{0, kCannotRead}, {1, kNoCapture}, {2, kDamage}}));
}

TEST(OrderedMergeTest, StopsWhileItHoldsRecords) {
    const std::string file = LongCapture();
    std::stop_source stop;
    MergeOptions options;
    options.stop = stop.get_token();
    OrderedMerge merge({ByteSource::Memory(file), ByteSource::Memory(file)}, options);
    ASSERT_NE(merge.Next(), nullptr);
    EXPECT_FALSE(merge.IsStopped());
    stop.request_stop();
    EXPECT_EQ(merge.Next(), nullptr);
    EXPECT_TRUE(merge.IsStopped());
    EXPECT_FALSE(merge.IsComplete());
    EXPECT_TRUE(merge.Problems().empty());

    OrderedMerge late({ByteSource::Memory(file)}, options);  // to stop before anything
    EXPECT_EQ(late.Next(), nullptr);
    EXPECT_TRUE(late.IsStopped());
    EXPECT_TRUE(late.Problems().empty());
}

// A pipe that gives so many bytes, and then neither more nor an end.
TEST(OrderedMergeTest, StopsWhereAPipeIsSilent) {
    const std::string file = LongCapture(), last = CaptureBuilder().Record(7, 0, "last").Bytes();
    for (const std::size_t given : {std::size_t{0}, std::size_t{30}, file.size() - 5}) {
        SCOPED_TRACE(given);
        Pipe pipe;
        const std::jthread writer([&] {
            for (std::size_t at = 0; at < given;) {
                at += static_cast<std::size_t>(write(pipe.writing.Get(), file.data() + at, given - at));
            }
        });
        std::stop_source stop;
        const std::jthread stopper([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            stop.request_stop();
        });
        MergeOptions options;
        options.stop = stop.get_token();
        OrderedMerge merge({ByteSource::Memory(last), ByteSource::Descriptor(pipe.reading.Get())}, options);
        while (merge.Next() != nullptr) {
        }
        EXPECT_TRUE(merge.IsStopped());
        EXPECT_TRUE(merge.Problems().empty());
    }
}

}  // namespace
}  // namespace velora::merge
