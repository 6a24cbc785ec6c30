// The cost of one step: reading a record of each format, choosing among many inputs, logging a
// line. Built and run by hand: cmake --build build/release --target micro_benchmarks.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include "impex/impex_libpcap.h"
#include "impex/squish.h"
#include "impex/time_ordered_merge.h"
#include "logging/logger.h"
#include "tests/support/capture_builder.h"
#include "tests/support/temp_dir.h"
#include "utils/scope_guards.h"

namespace {

constexpr int kRecords = 20000;
const std::string kFrame(594, 'f');

enum Form { kClassic, kBigEndian, kGzip, kBzip2, kPcapNg };

std::string MakeCapture(Form form, const TempDir& directory) {
    CaptureBuilder classic;
    PcapNgBuilder next;
    if (form == kBigEndian) {
        classic.BigEndian();
    }
    for (int record = 0; record < kRecords; ++record) {
        classic.Record(record, 0, kFrame);
        next.Packet(static_cast<std::uint64_t>(record) * 1000000, kFrame);
    }
    switch (form) {
        case kGzip:
            return directory.Write("in.gz", Gzip(classic.Bytes()));
        case kBzip2:
            return directory.Write("in.bz2", Bzip2(classic.Bytes()));
        case kPcapNg:
            return directory.Write("in.pcapng", next.Bytes());
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
            const HeaderBlock ownedHeader(header);
            const DataBlock ownedData(data);
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

using Run = bool (*)(MergeJob& job);

// The processor time of a run into the null device, in seconds; below 0 when not all was written.
// The squish, which tells standard output of each input's end, tells the null device.
double SecondsOf(Run run, const std::vector<std::string>& paths, std::uint64_t records) {
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
void ChooseAmong(benchmark::State& state, Run run) {
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
