// The cost of one step: reading a record of each format, choosing among many inputs, in the plain
// mode and in the exact one, and logging a line. Built and run by hand: cmake --build build/release
// --target micro_benchmarks.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include "tests/support/capture_builder.h"
#include "tests/support/temp_dir.h"
#include "velora/capture/capture_reader.h"
#include "velora/exact/run.h"
#include "velora/impex/impex_libpcap.h"
#include "velora/impex/squish.h"
#include "velora/impex/time_ordered_merge.h"
#include "velora/logging/logger.h"
#include "velora/utils/scope_guards.h"
#include "velora/utils/tournament_tree.h"

namespace {

constexpr int kRecords = 20000;
constexpr std::size_t kFrameSize = 594;

// Half of each frame is noise, so that a compressed capture has something to tell.
std::string MakeFrame(std::mt19937& random) {
    std::string frame(kFrameSize, 'f');
    for (std::size_t index = 0; index < kFrameSize; index += 2) {
        frame[index] = static_cast<char>(random());
    }
    return frame;
}

enum Form { kClassic, kBigEndian, kNanoseconds, kPcapNg, kGzip, kBzip2, kXz, kZstd, kLz4 };

std::string MakeCapture(Form form, const TempDir& directory) {
    CaptureBuilder classic;
    PcapNgBuilder next;
    if (form == kBigEndian) {
        classic.BigEndian();
    }
    std::mt19937 random(1);
    for (int record = 0; record < kRecords; ++record) {
        const std::string frame = MakeFrame(random);
        classic.Record(record, 0, frame);
        next.Packet(static_cast<std::uint64_t>(record) * 1000000, frame);
    }
    switch (form) {
        case kNanoseconds:
            return directory.Write("in.pcap", "\x4D\x3C\xB2\xA1" + classic.Bytes().substr(4));
        case kPcapNg:
            return directory.Write("in.pcapng", next.Bytes());
        case kGzip:
            return directory.Write("in.gz", Gzip(classic.Bytes()));
        case kBzip2:
            return directory.Write("in.bz2", Bzip2(classic.Bytes()));
        case kXz:
            return directory.Write("in.xz", Xz(classic.Bytes()));
        case kZstd:
            return directory.Write("in.zst", Zstd(classic.Bytes()));
        case kLz4:
            return directory.Write("in.lz4", Lz4(classic.Bytes()));
        default:
            return directory.Write("in.pcap", classic.Bytes());
    }
}

void ReadRecord(benchmark::State& state, Form form) {
    const TempDir directory;
    const std::string path = MakeCapture(form, directory);
    for (auto _ : state) {
        CImpex_Libpcap input;
        PacketHeader* header = nullptr;
        std::uint8_t* data = nullptr;
        if (!input.OpenInput(path)) {
            state.SkipWithError("cannot open");
            return;
        }
        while (input.ReadNext(&header, &data)) {
            const velora::impex::HeaderBlock ownedHeader(header);
            const velora::impex::DataBlock ownedData(data);
            benchmark::DoNotOptimize(*data);
        }
    }
    state.SetItemsProcessed(state.iterations() * kRecords);
}
BENCHMARK_CAPTURE(ReadRecord, classic, kClassic);
BENCHMARK_CAPTURE(ReadRecord, big_endian, kBigEndian);
BENCHMARK_CAPTURE(ReadRecord, gzip, kGzip);
BENCHMARK_CAPTURE(ReadRecord, bzip2, kBzip2);
BENCHMARK_CAPTURE(ReadRecord, pcapng, kPcapNg);

void ExactReadRecord(benchmark::State& state, Form form) {
    const TempDir directory;
    const std::string path = MakeCapture(form, directory);
    for (auto _ : state) {
        velora::capture::CaptureReader reader;
        bool isGood = !reader.Open(path);
        int count = 0;
        for (const velora::capture::Record& record : reader) {
            benchmark::DoNotOptimize(record);
            count += 1;
        }
        if (!isGood || count != kRecords || reader.GetProblem()) {
            state.SkipWithError("not all was read");
        }
    }
    state.SetItemsProcessed(state.iterations() * kRecords);
}
BENCHMARK_CAPTURE(ExactReadRecord, classic, kClassic);
BENCHMARK_CAPTURE(ExactReadRecord, big_endian, kBigEndian);
BENCHMARK_CAPTURE(ExactReadRecord, nanoseconds, kNanoseconds);
BENCHMARK_CAPTURE(ExactReadRecord, pcapng, kPcapNg);
BENCHMARK_CAPTURE(ExactReadRecord, gzip, kGzip);
BENCHMARK_CAPTURE(ExactReadRecord, bzip2, kBzip2);
BENCHMARK_CAPTURE(ExactReadRecord, xz, kXz);
BENCHMARK_CAPTURE(ExactReadRecord, zstd, kZstd);
BENCHMARK_CAPTURE(ExactReadRecord, lz4, kLz4);

using PlainRun = bool (*)(MergeJob& job);

// The processor time of a run into the null device, in seconds; below 0 when not all was written.
// The squish, which tells standard output of each input's end, tells the null device.
double SecondsOf(PlainRun run, const std::vector<std::string>& paths, std::uint64_t records) {
    std::fflush(stdout);
    const MiscUtils::UniqueFd output(dup(STDOUT_FILENO));
    const MiscUtils::UniqueFd null(open("/dev/null", O_WRONLY | O_CLOEXEC));
    dup2(null.Get(), STDOUT_FILENO);
    MergeJob job("/dev/null", paths);
    const std::clock_t start = std::clock();
    const bool isDone = run(job) && job.packetsWritten == records;
    const std::clock_t end = std::clock();
    std::fflush(stdout);
    dup2(output.Get(), STDOUT_FILENO);
    return isDone ? static_cast<double>(end - start) / CLOCKS_PER_SEC : -1;
}

// What grows with the number of inputs, a record: the choice among them, and the memory that their
// readers take. Opening them costs as much for an input with one record, which is subtracted.
void ChooseAmong(benchmark::State& state, PlainRun run) {
    constexpr int kTotal = 1048576;
    const TempDir directory;
    std::mt19937 random(1);
    const auto inputs = static_cast<int>(state.range(0));
    std::vector<std::string> paths;
    std::vector<std::string> onlyHeads;
    for (int input = 0; input < inputs; ++input) {
        const std::string name = std::to_string(input);
        CaptureBuilder builder;
        std::int32_t second = 0;
        for (int record = 0; record < kTotal / inputs; ++record) {
            builder.Record(second, 0, "x");
            if (record == 0) {
                onlyHeads.push_back(directory.Write("head" + name, builder.Bytes()));
            }
            second += static_cast<std::int32_t>(random() % 5);
        }
        paths.push_back(directory.Write("in" + name, builder.Bytes()));
    }
    for (auto _ : state) {
        const double all = SecondsOf(run, paths, kTotal);
        const double opening = SecondsOf(run, onlyHeads, onlyHeads.size());
        if (all < 0 || opening < 0) {
            state.SkipWithError("not all was written");
        }
        state.SetIterationTime(std::max(all - opening, 0.0));
    }
    state.SetItemsProcessed(state.iterations() * (kTotal - inputs));
}

void AmongFewAndMany(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(1)->Arg(2)->Arg(16)->Arg(256)->Arg(4096)->UseManualTime()->Unit(
        benchmark::kMillisecond);
}
BENCHMARK_CAPTURE(ChooseAmong, merge, Merge)->Apply(AmongFewAndMany);
BENCHMARK_CAPTURE(ChooseAmong, squish, [](MergeJob& job) {
    return Squish(job, 0);
})->Apply(AmongFewAndMany);

// Exact merges into the null device: what grows with the number of inputs is the choice.
constexpr int kExactTotal = 262144;

std::vector<std::string> MakeInputs(int inputs, const TempDir& directory) {
    std::mt19937 random(1);
    std::vector<std::string> paths;
    for (int input = 0; input < inputs; ++input) {
        CaptureBuilder builder;
        std::int32_t second = 0;
        for (int record = 0; record < kExactTotal / inputs; ++record) {
            second += static_cast<std::int32_t>(random() % 5);
            builder.Record(second, 0, "x");
        }
        paths.push_back(directory.Write("in" + std::to_string(input), builder.Bytes()));
    }
    return paths;
}

class DeafListener final : public velora::exact::RunListener {
 public:
    void OnInput(std::size_t /*input*/, const velora::capture::Problem& /*problem*/) override {}
    void OnOutput(const std::string& /*text*/) override {}
};

// The time of all threads, as several work on one merge.
void ExactChooseAmong(benchmark::State& state) {
    const TempDir directory;
    velora::exact::ExactJob job;
    job.output = "/dev/null";
    for (const std::string& path : MakeInputs(static_cast<int>(state.range(0)), directory)) {
        job.inputs.push_back({path, false});
    }
    for (auto _ : state) {
        DeafListener listener;
        velora::output::RunProgress progress;
        if (Run(job, listener, progress).recordsWritten != kExactTotal) {
            state.SkipWithError("not all was merged");
        }
    }
    state.SetItemsProcessed(state.iterations() * kExactTotal);
}
BENCHMARK(ExactChooseAmong)
    ->Arg(2)
    ->Arg(16)
    ->Arg(256)
    ->Arg(4096)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime();

// The choice alone: sources whose keys grow by chance.
void PlayTournament(benchmark::State& state) {
    const auto sources = static_cast<std::size_t>(state.range(0));
    std::mt19937 random(1);
    std::vector<std::int64_t> steps(4096);
    for (std::int64_t& step : steps) {
        step = static_cast<std::int64_t>(random() % 5);
    }
    const std::vector<std::optional<std::int64_t>> keys(sources, 0);
    MiscUtils::TournamentTree tree(keys);
    std::size_t next = 0;
    for (auto _ : state) {
        tree.Replace(tree.WinnerKey() + steps[next++ % steps.size()]);
        benchmark::DoNotOptimize(tree.Winner());
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(PlayTournament)->Arg(2)->Arg(16)->Arg(256)->Arg(4096);

void LogLine(benchmark::State& state) {
    const TempDir directory;
    VeloLogger::CVeloLogger logger(directory.Path("log"));
    for (auto _ : state) {
        logger.Error("a line of %d words and some more", 8);
    }
}
BENCHMARK(LogLine);

void DisabledLogLine(benchmark::State& state) {
    VeloLogger::CVeloLogger logger;
    logger.SetLevel(VeloLogger::Level::kError);
    for (auto _ : state) {
        *logger.Stream(VeloLogger::Level::kDebug) << "never written" << 8;
    }
}
BENCHMARK(DisabledLogLine);

}  // namespace

int main(int argc, char** argv) {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    const std::string log = VeloLogger::GlobalLogger.FileName();
    VeloLogger::GlobalLogger.Open("/dev/null");
    unlink(log.c_str());

    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
