// What a program gets that takes the records of many captures in order.

#include "velora/merge/ordered_merge.h"

#include <csignal>
#include <filesystem>
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

constexpr std::size_t kFileHeader = 24;

CaptureBuilder LongCapture() {
    CaptureBuilder file = CaptureBuilder().Nanoseconds();
    for (int record = 0; record < 4500; ++record) {
        file.Record(5, 1000 + (record ^ 511), std::string(1000, static_cast<char>(record)));
    }
    return file;  // of more than 4 MiB
}

std::vector<std::pair<std::uint32_t, capture::ProblemKind>> KindsOf(const OrderedMerge& merge) {
    std::vector<std::pair<std::uint32_t, capture::ProblemKind>> kinds;
    for (const SourceProblem& one : merge.Problems()) {
        kinds.emplace_back(one.source, one.problem.kind);
    }
    return kinds;
}

TEST(OrderedMergeTest, AgreesWithTheNaiveModelWhateverItReadsFrom) {
    const TempDir directory;
    for (unsigned seed = 1; seed <= 40; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const bool hasDisorder = seed % 8 == 1;
        MergeOptions options;
        if (seed % 2 == 0) {
            options.earliest = 5'000'001'005;
            options.latest = 5'000'001'050;
            options.accepts = [](const capture::Record& record, std::uint32_t /*source*/) {
                return record.originalLength % 2 == 0;
            };
        }
        std::vector<std::string> files = RandomInputs(seed).files;
        std::vector<Pipe> pipes(files.size());
        std::vector<ByteSource> sources;
        for (std::size_t number = 0; number < files.size(); ++number) {
            const std::string& file = files[number];
            EXPECT_EQ(write(pipes[number].writing.Get(), file.data(), file.size()), std::ssize(file));
            pipes[number].writing.Reset();
            const ByteSource kinds[] = {ByteSource::Memory(file), directory.Write(std::to_string(number), file),
                                        ByteSource::Descriptor(pipes[number].reading.Get()), SmallPieces(file)};
            sources.push_back(kinds[number % 4]);
        }
        if (hasDisorder) {
            files.push_back(LongCapture().Record(4, 0, "out of place").Bytes());
            sources.emplace_back(directory.Write("long", files.back()));
        }
        std::vector<Records> expected, seen(files.size());
        for (const std::string& file : files) {
            expected.push_back(Mended(capture::ReadWhole(file).blocks).records);
            std::erase_if(expected.back(), [&](const capture::OwnedRecord& record) {
                return options.accepts && (record.time < options.earliest || record.time > options.latest ||
                                           record.originalLength % 2 != 0);
            });
        }
        Records inOrder;
        OrderedMerge merge(sources, options);
        for (const capture::Record& record : merge) {
            inOrder.push_back({record.time, record.originalLength, record.interface->number,
                               std::string(record.Bytes().begin(), record.Bytes().end())});
            seen[merge.Source()].push_back(inOrder.back());
            ASSERT_FALSE(merge.IsComplete());
        }
        EXPECT_EQ(merge.Next(), nullptr);
        ASSERT_EQ(seen, expected);
        const CaptureBuilder header = CaptureBuilder().Nanoseconds();
        ASSERT_TRUE(NaiveFile(header, 1, {inOrder}, false) == NaiveFile(header, 1, expected, false));
        EXPECT_EQ(merge.IsComplete(), !hasDisorder);
        EXPECT_EQ(KindsOf(merge).size(), hasDisorder ? 1U : 0U);
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

std::ptrdiff_t EntriesOf(const char* directory) {
    return std::distance(std::filesystem::directory_iterator(directory), {});
}

// One source is a file of many blocks, the other a pipe that gives so many bytes, and then neither more nor an end.
TEST(OrderedMergeTest, EndsWhereverItIsAndLeavesNoThreadOrDescriptor) {
    constexpr std::size_t kAll = std::numeric_limits<std::size_t>::max();
    const std::string file = LongCapture().Bytes();
    const struct {
        const char* about;
        std::size_t given = kAll;  // by the pipe: again and again
        std::size_t taken = kAll;  // of the records: till there are no more
        bool isStopped = true;     // else it is dropped
    } rows[] = {
        {.about = "stopped before anything", .given = 0, .taken = 0},
        {.about = "stopped on a silent pipe", .given = 0},
        {.about = "stopped at half a record", .given = 30},
        {.about = "stopped behind records", .given = file.size() - 5},
        {.about = "stopped while it holds records", .taken = 1},
        {.about = "stopped amid blocks", .taken = 3000},
        {.about = "dropped at once", .taken = 0, .isStopped = false},
        {.about = "dropped beside a silent pipe", .given = file.size() - 5, .taken = 9, .isStopped = false},
        {.about = "dropped amid blocks", .taken = 5000, .isStopped = false},
    };
    const TempDir directory;
    const std::string packed = directory.Write("packed", Gzip(file));
    std::signal(SIGPIPE, SIG_IGN);
    const auto threads = EntriesOf("/proc/self/task"), descriptors = EntriesOf("/proc/self/fd");
    for (const auto& row : rows) {
        SCOPED_TRACE(row.about);
        Pipe pipe;
        const std::jthread writer([&] {
            std::size_t at = 0;
            for (ssize_t size = 0; size >= 0 && at < row.given; at += static_cast<std::size_t>(size)) {
                at = at == file.size() ? kFileHeader : at;
                size = write(pipe.writing.Get(), file.data() + at, std::min(row.given, file.size()) - at);
            }
        });
        std::stop_source stop;
        MergeOptions options;
        options.stop = stop.get_token();
        std::jthread stopper;
        if (row.taken == kAll) {
            stopper = std::jthread([&] {
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
                stop.request_stop();
            });
        } else if (row.taken == 0 && row.isStopped) {
            stop.request_stop();
        }
        OrderedMerge merge({packed, ByteSource::Descriptor(pipe.reading.Get())}, options);
        pipe.reading.Reset();
        std::size_t taken = 0;
        while (taken < row.taken && merge.Next() != nullptr) {
            ++taken;
        }
        EXPECT_TRUE(row.taken == kAll || taken == row.taken);
        if (row.isStopped) {
            EXPECT_EQ(merge.IsStopped(), row.taken == kAll);
            stop.request_stop();
            EXPECT_EQ(merge.Next(), nullptr);
        }
        EXPECT_EQ(merge.IsStopped(), row.isStopped);
        EXPECT_FALSE(merge.IsComplete());
        EXPECT_TRUE(merge.Problems().empty());
    }
    EXPECT_EQ(EntriesOf("/proc/self/task"), threads);
    EXPECT_EQ(EntriesOf("/proc/self/fd"), descriptors);
}

}  // namespace
}  // namespace velora::merge
