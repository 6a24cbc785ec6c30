// Pool and read-ahead are ended while there is work.

#include <thread>

#include <gtest/gtest.h>

#include "tests/support/capture_builder.h"
#include "velora/input/read_ahead.h"

namespace velora::input {
namespace {

// Hands itself in again and again.
struct EndlessTask final : WorkerPool::Task {
    explicit EndlessTask(WorkerPool& to) : pool(to) {}
    void Run() override {
        ++steps;
        std::this_thread::sleep_for(std::chrono::microseconds(100));
        pool.Submit(*this);
    }
    WorkerPool& pool;
    std::atomic<int> steps = 0;
};

TEST(WorkerPoolTest, StopsAmidTasksThatNeverEndAndRunsNoneLater) {
    const WorkerPool idle(3);  // which ends, too
    WorkerPool pool(2);
    EndlessTask tasks[] = {EndlessTask(pool), EndlessTask(pool), EndlessTask(pool)};
    for (EndlessTask& task : tasks) {
        pool.Submit(task);
    }
    while (tasks[2].steps == 0) {
        std::this_thread::yield();
    }
    pool.Stop();
    const auto steps = [&] { return tasks[0].steps + tasks[1].steps + tasks[2].steps; };
    const int atStop = steps();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(steps(), atStop);
}

TEST(ReadAheadTest, GivesNoFilledBlockBehindAStop) {
    CaptureBuilder builder;
    for (int record = 0; record < 30; ++record) {
        builder.Record(1, 0, std::string(984, 'r'));
    }
    const std::string file = builder.Bytes();  // two blocks, and there is room for three
    std::vector<capture::InputFile> inputs;
    inputs.push_back(std::get<capture::InputFile>(capture::OpenInput(capture::ByteSource::Memory(file))));
    std::atomic<std::uint64_t> bytesRead = 0;
    std::stop_source stop;
    ReadAhead ahead(std::move(inputs), {3, 16384}, {}, bytesRead, stop.get_token());
    while (bytesRead < file.size()) {
        std::this_thread::yield();
    }
    stop.request_stop();
    EXPECT_EQ(ahead.Take(0), nullptr);
}

}  // namespace
}  // namespace velora::input
