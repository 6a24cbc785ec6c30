// Pool, pump and read-ahead are ended while there is work: nothing runs on, and nothing is left.

#include <csignal>
#include <filesystem>
#include <list>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/capture_builder.h"
#include "tests/support/temp_dir.h"
#include "velora/input/read_ahead.h"

namespace velora::input {
namespace {

std::ptrdiff_t EntriesOf(const char* directory) {
    const std::filesystem::directory_iterator entries(directory);
    return std::distance(begin(entries), end(entries));
}

struct Pipe {
    Pipe() {
        int ends[2] = {};
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        reading.Reset(ends[0]);
        writing.Reset(ends[1]);
    }
    void Write(std::string_view bytes) const {
        EXPECT_EQ(write(writing.Get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    MiscUtils::UniqueFd reading;
    MiscUtils::UniqueFd writing;
};

// A task that hands itself in again and again.
class EndlessTask final : public WorkerPool::Task {
 public:
    EndlessTask(WorkerPool& pool, std::atomic<int>& running, std::atomic<int>& runs)
        : m_Pool(pool), m_Running(running), m_Runs(runs) {}
    void Run() override {
        ++m_Running;
        ++m_Runs;
        std::this_thread::yield();
        --m_Running;
        m_Pool.Submit(*this);
    }

 private:
    WorkerPool& m_Pool;
    std::atomic<int>& m_Running;
    std::atomic<int>& m_Runs;
};

TEST(WorkerPoolTest, StopsAmidTasksThatNeverEndAndRunsNoneLater) {
    std::atomic<int> running = 0;
    std::atomic<int> runs = 0;
    WorkerPool pool(3);
    std::list<EndlessTask> tasks;
    for (int count = 0; count < 8; ++count) {
        pool.Submit(tasks.emplace_back(pool, running, runs));
    }
    EndlessTask late(pool, running, runs);
    while (runs < 1000) {
        std::this_thread::yield();
    }
    pool.Stop();
    EXPECT_EQ(running, 0);
    const int atStop = runs;
    pool.Submit(late);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(runs, atStop);
}

class CountingWaiter final : public PipePump::Waiter {
 public:
    explicit CountingWaiter(int fd) : m_Fd(fd) {}
    bool Readable() override {
        char byte = 0;
        EXPECT_EQ(read(m_Fd, &byte, 1), 1);
        ++calls;
        calls.notify_one();
        return byte == 'e';
    }
    std::atomic<int> calls = 0;

 private:
    int m_Fd;
};

TEST(PipePumpTest, CallsAWaiterUntilItHasEnoughAndNoneOnceItIsGone) {
    const Pipe pipes[2];
    CountingWaiter enough(pipes[0].reading.Get());
    CountingWaiter more(pipes[1].reading.Get());
    {
        PipePump pump(2);
        pump.Await(pipes[0].reading.Get(), enough);
        pump.Await(pipes[1].reading.Get(), more);
        pipes[0].Write("e-");  // the second byte is not asked for
        enough.calls.wait(0);
        pipes[1].Write("-");
        more.calls.wait(0);
    }
    pipes[1].Write("-");
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(enough.calls, 1);
    EXPECT_EQ(more.calls, 1);
}

// A file with many blocks, a pipe that gives half a record, one that has not given anything, and one that never ends.
TEST(ReadAheadTest, EndsWhereverItIs) {
    const TempDir directory;
    std::string file = CaptureBuilder().Bytes();
    const std::string record = CaptureBuilder().Record(1, 0, std::string(984, 'r')).Bytes().substr(24);
    for (int count = 0; count < 500; ++count) {
        file += record;
    }
    directory.Write("plain", file);
    directory.Write("packed", Gzip(file));
    std::signal(SIGPIPE, SIG_IGN);
    const auto threads = EntriesOf("/proc/self/task");
    const auto descriptors = EntriesOf("/proc/self/fd");
    for (int taken = 0; taken < 40; ++taken) {
        Pipe half;
        Pipe silent;
        Pipe endless;
        half.Write(file.substr(0, 100));
        std::jthread writer([&, fd = std::move(endless.writing)] {
            for (std::size_t at = 0, count = 1; count > 0; at = at + count < file.size() ? at + count : 24) {
                count = static_cast<std::size_t>(
                    std::max<ssize_t>(write(fd.Get(), file.data() + at, file.size() - at), 0));  // 0: nobody reads
            }
        });
        std::vector<capture::InputFile> inputs;
        for (const char* name : {"plain", "packed"}) {
            inputs.push_back(std::get<capture::InputFile>(capture::OpenInputFile(directory / name)));
        }
        for (Pipe* pipe : {&endless, &half, &silent}) {
            inputs.push_back({std::move(pipe->reading)});
        }
        std::atomic<std::uint64_t> bytesRead = 0;
        {
            ReadAhead ahead(std::move(inputs), {3, 16384}, {}, bytesRead);
            for (int block = 0; block < taken; ++block) {
                const std::size_t input = static_cast<std::size_t>(block) % 3;
                const capture::RecordBlock* const filled = ahead.Take(input);
                ASSERT_TRUE(filled != nullptr && filled->Count() > 0 && !filled->problem);
                ahead.GiveBack(input);
            }
        }
        writer.join();
    }
    EXPECT_EQ(EntriesOf("/proc/self/task"), threads);
    EXPECT_EQ(EntriesOf("/proc/self/fd"), descriptors);
}

}  // namespace
}  // namespace velora::input
