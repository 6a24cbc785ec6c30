#include "velora/exact/open_inputs.h"

#include <array>
#include <cerrno>
#include <optional>
#include <string>
#include <utility>
#include <variant>

#include <fcntl.h>

#include "velora/capture/input_file.h"
#include "velora/utils/scope_guards.h"

namespace velora::exact {
namespace {

using capture::InputFile;
using capture::Problem;

// Descriptors that are kept free while inputs take all others: for the output and the waiting for
// pipes.
class DescriptorReserve {
 public:
    DescriptorReserve() {
        for (MiscUtils::UniqueFd& fd : m_Held) {
            fd.Reset(open("/", O_PATH | O_CLOEXEC));
        }
    }

 private:
    std::array<MiscUtils::UniqueFd, 4> m_Held;
};

struct OpenFiles {
    std::vector<InputFile> files;
    std::vector<std::size_t> inputOf;  // which of the job's each is
};

// Nothing where there are more inputs than descriptors.
std::optional<OpenFiles> OpenAll(const ExactJob& job, RunReport& report, Findings& findings) {
    const DescriptorReserve reserve;
    OpenFiles opened;
    for (std::size_t input = 0; input < job.inputs.size(); ++input) {
        const InputName& name = job.inputs[input];
        auto result = capture::OpenInput(name.isStandardInput ? capture::ByteSource::StandardInput()
                                                              : capture::ByteSource(name.path));
        if (const auto* const problem = std::get_if<Problem>(&result)) {
            if (problem->error == EMFILE) {
                findings.AddNothingToWrite("there are " + std::to_string(job.inputs.size()) +
                                           " inputs, and descriptors for " +
                                           std::to_string(opened.files.size()) +
                                           " of them; the hard limit (ulimit -Hn) allows no more");
                return std::nullopt;
            }
            findings.AddLeftOut(input, *problem);
            continue;
        }
        auto& file = std::get<InputFile>(result);
        report.inputs[input].bytesOnDisk = file.size;
        report.inputs[input].isRegular = file.isRegular;
        opened.files.push_back(std::move(file));
        opened.inputOf.push_back(input);
    }
    return opened;
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
                        Findings& findings) {
    std::optional<OpenFiles> opened = OpenAll(job, report, findings);
    if (!opened) {
        return {};
    }
    progress.bytesInAll = BytesInAll(opened->files);
    const std::vector<std::size_t> inputOf = std::move(opened->inputOf);
    OpenedInputs inputs;
    inputs.set = std::make_unique<input::InputSet>(
        std::move(opened->files), input::BlockPlan::For(job.inputs.size()), OptionsFor(job),
        progress.bytesRead,
        [&findings, inputOf](std::size_t file, bool isSource, const Problem& problem) {
            isSource ? findings.AddProblem(inputOf[file], problem)
                     : findings.AddLeftOut(inputOf[file], problem);
        });
    for (const input::InputSet::Source& source : inputs.set->Sources()) {
        const std::size_t input = inputOf[source.file];
        report.inputs[input].isCapture = true;
        report.inputs[input].traits = source.traits;
        inputs.inputOf.push_back(input);
    }
    if (inputs.inputOf.empty()) {
        findings.AddNothingToWrite("not written: no input is a readable capture");
        inputs.set.reset();
    }
    return inputs;
}

}  // namespace velora::exact
