// The cost of one step: reading a record of each format, choosing among many inputs, logging a
// line. Built and run by hand: cmake --build build/release --target micro_benchmarks.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <unistd.h>

#include "impex/impex_libpcap.h"
#include "impex/time_ordered_merge.h"
#include "logging/logger.h"
#include "tests/support/capture_builder.h"
#include "tests/support/temp_dir.h"

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

// A merge into the null device: what grows with the number of inputs is the choice.
void ChooseAmong(benchmark::State& state) {
    constexpr int kTotal = 262144;
    const TempDir directory;
    std::mt19937 random(1);
    const auto inputs = static_cast<int>(state.range(0));
    std::vector<std::string> paths;
    for (int input = 0; input < inputs; ++input) {
        CaptureBuilder builder;
        std::int32_t second = 0;
        for (int record = 0; record < kTotal / inputs; ++record) {
            second += static_cast<std::int32_t>(random() % 5);
            builder.Record(second, 0, "x");
        }
        paths.push_back(directory.Write("in" + std::to_string(input), builder.Bytes()));
    }
    for (auto _ : state) {
        MergeJob job("/dev/null", paths);
        if (!Merge(job) || job.packetsWritten != kTotal) {
            state.SkipWithError("not all was merged");
        }
    }
    state.SetItemsProcessed(state.iterations() * kTotal);
}
BENCHMARK(ChooseAmong)->Arg(2)->Arg(16)->Arg(256)->Arg(4096)->Unit(benchmark::kMillisecond);

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
