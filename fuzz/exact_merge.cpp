// Up to three small files of any bytes through a run of the exact mode, held against the naive
// model: what is written, and what the run says became of it.
//
// The first byte chooses merge or squish; two numbers of 16 bits say where the first two files end.

#include <cstring>
#include <filesystem>
#include <map>
#include <string>

#include "fuzz/fuzz_support.h"
#include "tests/merge/naive_order.h"
#include "velora/exact/run.h"
#include "velora/formats/link_types.h"

using fuzz::Check;
using velora::capture::Problem;
using velora::capture::ProblemKind;
using velora::capture::ReadCapture;
using namespace velora::exact;
using namespace velora::merge;
using namespace velora::utils;
using velora::output::RunProgress;

namespace {

class Listener final : public RunListener {
 public:
    void OnInput(std::size_t input, const Problem& problem) override {
        hasProblem |= problem.kind != ProblemKind::kNote;
        if (problem.kind != ProblemKind::kNote && problem.kind <= ProblemKind::kWrongChecksum) {
            told[input] = problem.text;
        }
    }
    void OnOutput(const std::string& text) override { output = text; }

    std::map<std::size_t, std::string> told;
    bool hasProblem = false;
    std::string output;
};

// What the run should say and write, from what each file holds.
struct Expectation {
    bool isWritten = false;
    CaptureBuilder header;
    std::int64_t unit = 1000;
    std::vector<Records> inputs;
    std::map<std::size_t, std::string> told;
};

Expectation Expect(const std::vector<std::string>& files, bool isSquish) {
    Expectation expected;
    std::optional<std::uint32_t> linkType;  // of those with records
    std::optional<std::uint32_t> declared;
    std::optional<std::uint32_t> fcsBits;
    std::uint32_t snapLen = 262144;
    bool hasCapture = false;
    bool isMixed = false;
    for (std::size_t input = 0; input < files.size(); ++input) {
        const ReadCapture read = velora::capture::ReadWhole(files[input]);
        if (read.problem) {
            expected.told[input] = (read.isCapture ? "" : "left out: ") + read.problem->text;
        }
        if (!read.isCapture) {
            continue;
        }
        declared = hasCapture
                       ? declared
                       : read.traits.linkType.value_or(velora::formats::link_type::kEthernet);
        hasCapture = true;
        snapLen = std::max(snapLen, read.traits.snapLen);
        expected.unit = read.traits.isFinerThanMicroseconds ? 1 : expected.unit;
        expected.inputs.push_back(isSquish ? read.Records() : Mended(read.blocks).records);
        if (read.traits.hasRecord) {
            isMixed |= linkType.value_or(*read.traits.linkType) != *read.traits.linkType;
            linkType = linkType.value_or(*read.traits.linkType);
            fcsBits = fcsBits.value_or(read.traits.fcsBits) == read.traits.fcsBits
                          ? read.traits.fcsBits
                          : 0;
        }
    }
    expected.isWritten = hasCapture && !isMixed;
    if (expected.unit == 1) {
        expected.header.Nanoseconds();
    }
    expected.header.SnapLen(snapLen).LinkType(linkType.value_or(declared.value_or(0)) |
                                              fcsBits.value_or(0));
    return expected;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 5) {
        return 0;
    }
    const bool isSquish = data[0] % 2 != 0;
    std::string_view rest(reinterpret_cast<const char*>(data) + 5, size - 5);
    std::vector<std::string> files;
    for (const std::size_t at : {1U, 3U}) {
        std::uint16_t length = 0;
        std::memcpy(&length, data + at, sizeof length);
        files.emplace_back(rest.substr(0, length));
        rest.remove_prefix(files.back().size());
    }
    files.emplace_back(rest);

    const std::string output = fuzz::ScratchPath("output");
    std::filesystem::remove(output);
    ExactJob job;
    job.mode = isSquish ? Mode::kSquish : Mode::kMerge;
    job.output = output;
    for (std::size_t input = 0; input < files.size(); ++input) {
        job.inputs.push_back({fuzz::WriteScratch(std::to_string(input), files[input]), false});
    }
    Listener listener;
    RunProgress progress;
    const RunReport report = Run(job, listener, progress);
    const Expectation expected = Expect(files, isSquish);
    if (!expected.isWritten) {
        Check(report.status == Status::kNothingToWrite, "there is nothing to write");
        Check(!std::filesystem::exists(output), "nothing is written");
        return 0;
    }
    Check(listener.told == expected.told, "each input's damage is told");
    Check(report.status == (listener.hasProblem ? Status::kIncomplete : Status::kComplete),
          "the status is 0 just when nothing is told");
    Check(fuzz::ReadScratch("output") ==
              NaiveFile(expected.header, expected.unit, expected.inputs, isSquish),
          "the output is the model's");
    return 0;
}
