// Merge and squish over two input files, held against the model that the tests use: every byte of
// the output, and the counters. libpcap has to read the output to its end as well.
//
// An input: a byte that chooses the algorithm (its remainder by 3) and lets an input be named .gz
// (bits 6 and 7; zlib reads what is not compressed as it is, empty records included); two bytes,
// the low one first, for the length of the first file; both files.

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "tests/support/libpcap_reader.h"
#include "velora/impex/squish.h"
#include "velora/impex/time_ordered_merge.h"

using fuzz::Check;

namespace {

constexpr std::size_t kPrefix = 3;
constexpr std::size_t kLibpcapLimit = velora::formats::classic::kSnapLen;  // it cuts longer records

void CheckRun(MergeJob& job, const std::vector<ModelInput>& inputs, Algorithm algorithm) {
    const bool isMerge = algorithm == Algorithm::Merge;
    const int extraCopies = algorithm == Algorithm::Squish10 ? 10 : 0;
    const ModelResult expected = RunModel(inputs, algorithm);
    const bool isUsable = std::ranges::any_of(inputs, [](auto& input) { return !input.empty(); });
    try {
        Check(isMerge ? Merge(job) : Squish(job, extraCopies), "the output opens");
        Check(isUsable || isMerge, "a squish needs an input");
    } catch (const std::out_of_range&) {
        Check(!isUsable && !isMerge, "only a squish without inputs throws");
    }
    Check(fuzz::ReadScratch("out.pcap") == expected.file, "the output is the model's");
    Check(job.packetsWritten == expected.packets && job.bytesWritten == expected.bytes,
          "the counters are the model's");
    const auto isShort = [](const ModelRecord& record) {
        return record.data.size() <= kLibpcapLimit;
    };
    if (std::ranges::all_of(inputs, [&](auto& i) { return std::ranges::all_of(i, isShort); })) {
        Check(RewrittenFromLibpcap(job.outputPath) == expected.file, "libpcap reads the output");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < kPrefix) {
        return 0;
    }
    const std::string_view bytes(reinterpret_cast<const char*>(data) + kPrefix, size - kPrefix);
    const std::size_t firstLength = std::min<std::size_t>(data[1] + 256U * data[2], bytes.size());
    const std::vector<std::string> paths = {
        fuzz::WriteScratch((data[0] & 0x80U) != 0 ? "1.gz" : "1.pcap",
                           bytes.substr(0, firstLength)),
        fuzz::WriteScratch((data[0] & 0x40U) != 0 ? "2.gz" : "2.pcap", bytes.substr(firstLength))};
    std::vector<ModelInput> inputs;
    for (const std::string& path : paths) {
        CImpex_Libpcap input;
        inputs.push_back(input.OpenInput(path) ? fuzz::ReadRecords(input) : ModelInput());
    }
    MergeJob job(fuzz::ScratchPath("out.pcap"), paths);
    CheckRun(job, inputs, static_cast<Algorithm>(data[0] % 3));
    return 0;
}
