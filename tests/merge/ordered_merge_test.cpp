// What a program gets that takes the records of many captures in order.

#include "velora/merge/ordered_merge.h"

#include <csignal>
#include <filesystem>
#include <thread>

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/capture_builder.h"
#include "tests/support/temp_dir.h"
#include "velora/utils/scope_guards.h"

namespace velora::merge {
namespace {

using capture::ByteSource;
using enum capture::ProblemKind;
static_assert(std::ranges::input_range<OrderedMerge>);

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

TEST(OrderedMergeTest, GivesWhatIsAcceptedInOrderWhateverItReadsFrom) {
    const TempDir directory;
    const auto file = [](const std::vector<int>& seconds) {
        CaptureBuilder builder;
        for (const int second : seconds) {
            builder.Record(second, 0, std::to_string(second));
        }
        return builder.Bytes();
    };
    const std::string piped = file({3, 20, 9});
    Pipe pipe;
    ASSERT_EQ(write(pipe.writing.Get(), piped.data(), piped.size()), std::ssize(piped));
    pipe.writing.Reset();
    MergeOptions options;
    options.earliest = 3'000'000'000;
    options.latest = 20'000'000'000;
    options.accepts = [](const capture::Record& record, std::uint32_t source) {
        return source != 1 || record.capturedLength > 1;
    };
    OrderedMerge merge({ByteSource::Memory(file({4, 2, 21, 3})), directory.Write("file", file({3, 10})),
                        ByteSource::Descriptor(pipe.reading.Get()), ByteSource::Memory(file({20, 3, 3, 10}))},
                       options);
    std::string given;
    for (const capture::Record& record : merge) {
        EXPECT_FALSE(merge.IsComplete());
        given += std::to_string(merge.Source()) + ":" + std::string(record.Bytes().begin(), record.Bytes().end()) + " ";
    }
    EXPECT_EQ(given, "0:3 2:3 3:3 3:3 0:4 2:9 1:10 3:10 2:20 3:20 ");
    EXPECT_EQ(merge.Next(), nullptr);
    EXPECT_TRUE(merge.IsComplete() && !merge.IsStopped() && merge.Problems().empty());
}

TEST(OrderedMergeTest, TellsWhatIsWrongByTheNumbersThatTheCallerKnows) {
    PcapNgBuilder builder = PcapNgBuilder::Empty().Section();
    const std::string good =
        builder.Interface(1, 0, builder.Option(2, "eth0")).PacketOf(0, 7, "good", builder.Option(1, "comment")).Bytes();
    const std::string late = LongCapture().Record(4, 0, "late").Bytes();
    OrderedMerge merge({"/nowhere/at-all", ByteSource::Memory("no capture"),
                        ByteSource::Memory(good.substr(0, good.size() - 1)), ByteSource::Memory(good),
                        ByteSource::Memory(late)});
    EXPECT_EQ(merge.Traits(0), nullptr);
    EXPECT_EQ(merge.Traits(1), nullptr);
    ASSERT_NE(merge.Traits(2), nullptr);
    EXPECT_FALSE(merge.Traits(2)->hasRecord);
    const capture::Record* const record = merge.Next();
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(merge.Source(), 3U);
    EXPECT_EQ(record->interface->name, "eth0");
    while (merge.Next() != nullptr) {
    }
    EXPECT_EQ(merge.NotGiven(3), (capture::Extras{.comments = 1}));
    EXPECT_EQ(merge.NotGiven(1), capture::Extras());
    EXPECT_FALSE(merge.IsComplete());
    std::vector<std::pair<std::uint32_t, capture::ProblemKind>> kinds;
    for (const auto& [source, problem] : merge.Problems()) {
        kinds.emplace_back(source, problem.kind);
    }
    EXPECT_EQ(kinds, (decltype(kinds){{0, kCannotRead}, {1, kNoCapture}, {2, kDamage}, {4, kOutOfPlace}}));
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
