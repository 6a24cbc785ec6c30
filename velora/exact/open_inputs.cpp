#include "velora/exact/open_inputs.h"

#include <cerrno>
#include <string>
#include <utility>

#include "velora/capture/input_file.h"
#include "velora/input/open_files.h"

namespace velora::exact {
namespace {

using capture::InputFile;
using capture::Problem;

std::vector<capture::ByteSource> SourcesOf(const ExactJob& job) {
    std::vector<capture::ByteSource> sources;
    for (const InputName& name : job.inputs) {
        sources.push_back(name.isStandardInput ? capture::ByteSource::StandardInput()
                                               : capture::ByteSource(name.path));
    }
    return sources;
}

// False where there are more inputs than descriptors.
bool AddFailures(const input::OpenFiles& opened, std::size_t inputs, Findings& findings) {
    for (const auto& [input, problem] : opened.failures) {
        if (problem.error == EMFILE) {
            findings.AddNothingToWrite("there are " + std::to_string(inputs) +
                                       " inputs, and descriptors for " +
                                       std::to_string(opened.files.size()) +
                                       " of them; the hard limit (ulimit -Hn) allows no more");
            return false;
        }
        findings.AddLeftOut(input, problem);
    }
    return true;
}

// 0 where one is no regular file.
std::uint64_t BytesInAll(const std::vector<InputFile>& files) {
    std::uint64_t bytes = 0;
    for (const InputFile& file : files) {
        if (!file.isRegular) {
            return 0;
        }
        bytes += file.size;
    }
    return bytes;
}

capture::BlockReader::Options OptionsFor(const ExactJob& job) {
    capture::BlockReader::Options options;
    options.ordersBlocks = job.mode == Mode::kMerge;
    options.keepsAllLinkTypes = job.format == OutputFormat::kPcapNg;
    options.earliest = job.earliest;
    options.latest = job.latest;
    return options;
}

}  // namespace

OpenedInputs OpenInputs(const ExactJob& job, output::RunProgress& progress, RunReport& report,
                        Findings& findings, const std::stop_token& stop) {
    input::OpenFiles opened = input::OpenAll(SourcesOf(job), stop);
    if (!AddFailures(opened, job.inputs.size(), findings)) {
        return {};
    }
    for (std::size_t file = 0; file < opened.files.size(); ++file) {
        InputReport& input = report.inputs[opened.inputOf[file]];
        input.bytesOnDisk = opened.files[file].size;
        input.isRegular = opened.files[file].isRegular;
    }
    progress.bytesInAll = BytesInAll(opened.files);
    const std::vector<std::size_t>& inputOf = opened.inputOf;
    OpenedInputs inputs;
    inputs.set = std::make_unique<input::InputSet>(
        std::move(opened.files), input::BlockPlan::For(job.inputs.size()), OptionsFor(job),
        progress.bytesRead,
        [&findings, inputOf](std::size_t file, bool isSource, const Problem& problem) {
            isSource ? findings.AddProblem(inputOf[file], problem)
                     : findings.AddLeftOut(inputOf[file], problem);
        },
        stop);
    for (const input::InputSet::Source& source : inputs.set->Sources()) {
        const std::size_t input = inputOf[source.file];
        report.inputs[input].isCapture = true;
        report.inputs[input].traits = source.traits;
        inputs.inputOf.push_back(input);
    }
    if (stop.stop_requested()) {
        findings.AddStopped(false);
        inputs.set.reset();
    } else if (inputs.inputOf.empty()) {
        findings.AddNothingToWrite("not written: no input is a readable capture");
        inputs.set.reset();
    }
    return inputs;
}

}  // namespace velora::exact
