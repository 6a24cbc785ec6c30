#include "exact/exact_run.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <utility>
#include <variant>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "capture/block_writer.h"
#include "capture/input_file.h"
#include "capture/output_file.h"
#include "capture/read_ahead.h"
#include "capture/record_encoder.h"
#include "exact/exact_merge.h"
#include "exact/exact_squish.h"
#include "exact/input_order.h"
#include "exact/record_writer.h"
#include "exact/tally_problems.h"
#include "formats/link_types.h"
#include "utils/scope_guards.h"

namespace velora::exact {
namespace {

using capture::CaptureTraits;
using capture::OutputOutcome;
using capture::Problem;
using capture::ProblemKind;
using MiscUtils::UniqueFd;

constexpr std::uint32_t kLeastSnapLen = 262144;

// Descriptors that are kept free while inputs take all others: for the output and the waiting for
// pipes.
class DescriptorReserve {
 public:
    DescriptorReserve() {
        for (UniqueFd& fd : m_Held) {
            fd.Reset(open("/", O_PATH | O_CLOEXEC));
        }
    }

 private:
    std::array<UniqueFd, 4> m_Held;
};

class ExactRun {
 public:
    ExactRun(const ExactJob& job, RunListener& listener, RunProgress& progress)
        : m_Job(job), m_Listener(listener), m_Progress(progress) {}

    RunReport Execute() {
        m_Report.inputs.resize(m_Job.inputs.size());
        if (PrepareOutput() && OpenInputs() && LookAtInputs() && ChooseForm()) {
            WriteOutput();
            TellTallies();
        }
        return std::move(m_Report);
    }

 private:
    // Each of these is false when the run is at its end: the report has the status.
    bool PrepareOutput();
    bool OpenInputs();
    bool LookAtInputs();
    bool ChooseForm();
    void WriteOutput();
    bool WriteRecords(capture::BlockWriter& writer);
    void TellTallies();

    bool Refuse(Status status, const std::string& text) {
        m_Report.status = status;
        m_Listener.OnOutput(text);
        return false;
    }
    bool Refuse(const OutputOutcome& outcome);

    void Tell(std::size_t input, const Problem& problem) {
        m_IsDoubtful |= problem.kind != ProblemKind::kNote;
        m_Listener.OnInput(input, problem);
    }
    [[nodiscard]] bool IsInput(const capture::FileIdentity& output) const;
    [[nodiscard]] bool IsOrdered() const { return m_Job.mode == Mode::kMerge; }

    const ExactJob& m_Job;
    RunListener& m_Listener;
    RunProgress& m_Progress;
    RunReport m_Report;
    bool m_IsDoubtful = false;

    capture::OutputFile m_Output;
    std::vector<std::size_t> m_Opened;  // the job's inputs that could be opened
    std::unique_ptr<capture::ReadAhead> m_Ahead;
    std::vector<std::size_t> m_Sources;  // the job's inputs that are captures
    std::vector<InputOrder> m_Orders;    // of these
    std::uint32_t m_SnapLen = kLeastSnapLen;
    std::uint32_t m_FcsBits = 0;
};

bool ExactRun::Refuse(const OutputOutcome& outcome) {
    m_Report.hasReaderLeft = outcome.hasReaderLeft;
    switch (outcome.kind) {
        case OutputOutcome::Kind::kGood:
            return true;
        case OutputOutcome::Kind::kExists:
            return Refuse(Status::kOutputExists, outcome.text);
        case OutputOutcome::Kind::kTaken:
            return Refuse(Status::kOutputExists,
                          outcome.text + "; the finished capture is " + outcome.keptAs);
        case OutputOutcome::Kind::kCannot:
            break;
    }
    return Refuse(Status::kCannotWrite, outcome.text);
}

bool ExactRun::IsInput(const capture::FileIdentity& output) const {
    return std::ranges::any_of(m_Job.inputs, [&](const InputName& input) {
        struct stat status {};
        const bool isThere = (input.isStandardInput ? fstat(STDIN_FILENO, &status)
                                                    : stat(input.path.c_str(), &status)) == 0;
        return isThere && capture::FileIdentity{status.st_dev, status.st_ino} == output;
    });
}

bool ExactRun::PrepareOutput() {
    const OutputOutcome outcome = m_Output.Prepare(m_Job.output);
    if (m_Output.GetIdentity() && IsInput(*m_Output.GetIdentity())) {
        return Refuse(Status::kOutputExists, "it is one of the inputs");
    }
    return Refuse(outcome);
}

bool ExactRun::OpenInputs() {
    const DescriptorReserve reserve;
    std::vector<capture::InputFile> files;
    std::uint64_t bytesInAll = 0;
    bool isSizeKnown = true;
    for (std::size_t input = 0; input < m_Job.inputs.size(); ++input) {
        const InputName& name = m_Job.inputs[input];
        errno = 0;
        auto opened =
            name.isStandardInput ? capture::OpenStandardInput() : capture::OpenInputFile(name.path);
        if (const auto* const problem = std::get_if<Problem>(&opened)) {
            if (errno == EMFILE) {
                return Refuse(Status::kNothingToWrite,
                              "there are " + std::to_string(m_Job.inputs.size()) +
                                  " inputs, and descriptors for " + std::to_string(files.size()) +
                                  " of them; the hard limit (ulimit -Hn) allows no more");
            }
            Tell(input, *problem);
            continue;
        }
        auto& file = std::get<capture::InputFile>(opened);
        m_Report.inputs[input].bytesOnDisk = file.size;
        bytesInAll += file.size;
        isSizeKnown &= file.isRegular;
        files.push_back(std::move(file));
        m_Opened.push_back(input);
    }
    m_Progress.bytesInAll = isSizeKnown ? bytesInAll : 0;
    capture::BlockReader::Options options;
    options.ordersBlocks = IsOrdered();
    m_Ahead = std::make_unique<capture::ReadAhead>(std::move(files),
                                                   capture::BlockPlan::For(m_Job.inputs.size()),
                                                   options, m_Progress.bytesRead);
    return true;
}

// Takes the first block of every input, so that nothing is created before it is known what for.
bool ExactRun::LookAtInputs() {
    m_Orders.reserve(m_Opened.size());
    for (std::size_t opened = 0; opened < m_Opened.size(); ++opened) {
        const std::size_t input = m_Opened[opened];
        InputReport& report = m_Report.inputs[input];
        InputOrder order(*m_Ahead, opened, IsOrdered(), report.tally,
                         [this, input](const capture::RecordBlock& block) {
                             if (block.problem) {
                                 Tell(input, *block.problem);
                             }
                         });
        if (m_Ahead->IsCapture(opened)) {
            report.isCapture = true;
            report.traits = m_Ahead->Traits(opened);
            m_Sources.push_back(input);
            m_Orders.push_back(std::move(order));
        }
    }
    return !m_Sources.empty() ||
           Refuse(Status::kNothingToWrite, "not written: no input is a readable capture");
}

// What the output is like follows from all inputs together.
bool ExactRun::ChooseForm() {
    const CaptureTraits* first = nullptr;  // the first with a record
    std::size_t firstInput = 0;
    for (const std::size_t input : m_Sources) {
        const CaptureTraits& traits = m_Report.inputs[input].traits;
        m_SnapLen = std::max(m_SnapLen, traits.snapLen);
        m_Report.hasNanoseconds |= traits.isFinerThanMicroseconds;
        if (!traits.hasRecord) {
            continue;
        }
        if (first == nullptr) {
            first = &traits;
            firstInput = input;
            m_FcsBits = traits.fcsBits;
        }
        if (traits.linkType != first->linkType) {
            m_Listener.OnInput(input, {ProblemKind::kLeftOut,
                                       "its link type is " + LinkType::Shown(*traits.linkType) +
                                           ", that of " + m_Listener.ShownInput(firstInput) +
                                           " is " + LinkType::Shown(*first->linkType),
                                       0, 0});
            return Refuse(Status::kNothingToWrite,
                          "not written: one pcap file cannot hold both link types");
        }
        m_FcsBits = traits.fcsBits == m_FcsBits ? m_FcsBits : 0;
    }
    m_Report.linkType =
        first != nullptr
            ? *first->linkType
            : m_Report.inputs[m_Sources.front()].traits.linkType.value_or(LinkType::kEthernet);
    return true;
}

void ExactRun::WriteOutput() {
    if (!Refuse(m_Output.Open())) {
        return;
    }
    capture::BlockWriter writer(m_Output);
    const bool isWritten = WriteRecords(writer);
    const OutputOutcome outcome = writer.Finish();
    m_Report.bytesWritten = m_Output.Size();
    if (!outcome.IsGood()) {
        static_cast<void>(Refuse(outcome));
    } else {
        m_Report.status = m_IsDoubtful || !isWritten ? Status::kIncomplete : Status::kComplete;
    }
}

bool ExactRun::WriteRecords(capture::BlockWriter& writer) {
    using capture::RecordEncoder;
    const RecordEncoder encoder(m_Report.hasNanoseconds ? RecordEncoder::Unit::kNanoseconds
                                                        : RecordEncoder::Unit::kMicroseconds);
    const RecordEncoder::FileHeader header =
        encoder.EncodeFileHeader(m_SnapLen, m_Report.linkType | m_FcsBits);
    if (!writer.Append(header)) {
        return false;
    }
    for (InputOrder& order : m_Orders) {
        order.Begin();
    }
    RecordWriter output(writer, encoder, m_Progress);
    bool isWritten = false;
    switch (m_Job.mode) {
        case Mode::kMerge:
            isWritten = MergeByTime(m_Orders, output);
            break;
        case Mode::kConcatenate:
            isWritten = Concatenate(m_Orders, output);
            break;
        case Mode::kSquish:
            isWritten = Squish(m_Orders, {}, output);
            break;
        case Mode::kSquish10:
            isWritten = Squish(
                m_Orders, std::vector<std::uint32_t>(m_Orders.size(), m_Report.linkType), output);
            break;
    }
    m_Report.recordsWritten = output.Count();
    if (output.Count() > 0) {
        m_Report.earliest = output.Earliest();
        m_Report.latest = output.Latest();
    }
    return isWritten;
}

// What can only be said of an input as a whole.
void ExactRun::TellTallies() {
    if (m_Report.status != Status::kComplete && m_Report.status != Status::kIncomplete &&
        m_Report.status != Status::kOutputExists) {
        return;
    }
    for (const std::size_t input : m_Sources) {
        for (const Problem& problem : ProblemsOf(m_Report.inputs[input].tally, m_Report.linkType)) {
            Tell(input, problem);
        }
    }
    if (m_Report.status == Status::kComplete && m_IsDoubtful) {
        m_Report.status = Status::kIncomplete;
    }
}

}  // namespace

RunReport Run(const ExactJob& job, RunListener& listener, RunProgress& progress) {
    return ExactRun(job, listener, progress).Execute();
}

}  // namespace velora::exact
