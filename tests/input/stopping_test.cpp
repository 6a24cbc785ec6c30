// Pool and read-ahead are ended while there is work: nothing runs on, and nothing is left.

#include <csignal>
#include <filesystem>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/capture_builder.h"
#include "tests/support/temp_dir.h"
#include "velora/input/read_ahead.h"

namespace velora::input {
namespace {

// Hands itself in again and again.
struct EndlessTask final : WorkerPool::Task {
    explicit EndlessTask(WorkerPool& to) : pool(to) {}
    void Run() override {
        ++steps;
        std::this_thread::sleep_for(std::chrono::microseconds(100));
        ++steps;
        pool.Submit(*this);
    }
    WorkerPool& pool;
    std::atomic<int> steps = 0;
};

TEST(WorkerPoolTest, StopsAmidTasksThatNeverEndAndRunsNoneLater) {
    const WorkerPool idle(3);  // which ends, too
    WorkerPool pool(3);
    EndlessTask tasks[] = {EndlessTask(pool), EndlessTask(pool), EndlessTask(pool), EndlessTask(pool)};
    for (EndlessTask& task : tasks) {
        pool.Submit(task);
    }
    while (tasks[3].steps == 0) {
        std::this_thread::yield();
    }
    pool.Stop();
    const int atStop[] = {tasks[0].steps, tasks[1].steps, tasks[2].steps, tasks[3].steps};
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_TRUE(std::ranges::equal(tasks, atStop, {}, [](const EndlessTask& task) { return task.steps.load(); }));
}

std::ptrdiff_t EntriesOf(const char* directory) {
    return std::distance(std::filesystem::directory_iterator(directory), {});
}

// A file with many blocks, a pipe that gives half a record, one that has not given anything, and one that never ends.
TEST(ReadAheadTest, EndsWhereverItIs) {
    const TempDir directory;
    const std::string start = CaptureBuilder().Bytes();
    const std::string record = CaptureBuilder().Record(1, 0, std::string(984, 'r')).Bytes().substr(start.size());
    std::string file = start;
    for (int count = 0; count < 500; ++count) {
        file += record;
    }
    const std::string path = directory.Write("packed", Gzip(file));
    std::signal(SIGPIPE, SIG_IGN);
    const auto threads = EntriesOf("/proc/self/task");
    const auto descriptors = EntriesOf("/proc/self/fd");
    for (int taken = 0; taken < 40; ++taken) {
        std::vector<capture::InputFile> inputs;
        inputs.push_back(std::get<capture::InputFile>(capture::OpenInput(path)));
        MiscUtils::UniqueFd endless, half, silent;
        for (MiscUtils::UniqueFd* writing : {&endless, &half, &silent}) {
            int ends[2] = {};
            ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
            inputs.push_back({MiscUtils::UniqueFd(ends[0])});
            writing->Reset(ends[1]);
        }
        EXPECT_EQ(write(half.Get(), file.data(), 100), 100);
        const std::jthread writer([&] {
            const std::string* bytes = &start;
            while (write(endless.Get(), bytes->data(), bytes->size()) > 0) {  // until nobody reads
                bytes = &record;
            }
        });
        std::atomic<std::uint64_t> bytesRead = 0;
        std::stop_source stop;
        ReadAhead ahead(std::move(inputs), {3, 16384}, {}, bytesRead, stop.get_token());
        for (int block = 0; block < taken; ++block) {
            const std::size_t input = static_cast<std::size_t>(block) % 2;
            const capture::RecordBlock* const filled = ahead.Take(input);
            ASSERT_TRUE(filled != nullptr && filled->Count() > 0 && !filled->problem);
            ahead.GiveBack(input);
        }
        if (taken % 2 == 0) {
            stop.request_stop();
            EXPECT_EQ(ahead.Take(static_cast<std::size_t>(taken / 2 % 4)), nullptr);
        }
    }
    EXPECT_EQ(EntriesOf("/proc/self/task"), threads);
    EXPECT_EQ(EntriesOf("/proc/self/fd"), descriptors);
}

}  // namespace
}  // namespace velora::input
