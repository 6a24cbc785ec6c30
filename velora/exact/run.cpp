#include "velora/exact/run.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <thread>
#include <utility>
#include <variant>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "velora/capture/input_file.h"
#include "velora/codec/compressed_sink.h"
#include "velora/exact/tally_problems.h"
#include "velora/formats/link_types.h"
#include "velora/input/read_ahead.h"
#include "velora/merge/duplicate_window.h"
#include "velora/merge/k_way_merge.h"
#include "velora/merge/record_writer.h"
#include "velora/merge/reorder_window.h"
#include "velora/merge/squish.h"
#include "velora/output/block_writer.h"
#include "velora/output/output_file.h"
#include "velora/utils/scope_guards.h"
#include "velora/utils/shown_text.h"

namespace velora::exact {
namespace {

using capture::CaptureTraits;
using capture::Problem;
using capture::ProblemKind;
using codec::OutputOutcome;
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
    ExactRun(const ExactJob& job, RunListener& listener, output::RunProgress& progress,
             output::OutputFile* reportFile)
        : m_Job(job), m_Listener(listener), m_Progress(progress), m_ReportFile(reportFile) {}

    RunReport Execute() {
        m_Report.inputs.resize(m_Job.inputs.size());
        if (PrepareOutput() && OpenInputs() && LookAtInputs() && ChooseForm()) {
            WriteOutput();
            TellWhatIsLeft();
        }
        return std::move(m_Report);
    }

 private:
    // Each of these is false when the run is at its end: the report has the status.
    bool PrepareOutput();
    bool OpenInputs();
    bool LookAtInputs();
    bool ChooseForm();
    bool FitIntoPcap();
    bool FitIntoPcapNg();
    void WriteOutput();
    void WriteRecords(output::BlockWriter& writer);
    bool BeginRecords();
    bool WriteInOrder();
    void TellTallies();
    void TellWhatIsLeft() noexcept;

    bool Refuse(Status status, const std::string& text) {
        m_Report.status = status;
        m_Report.outputText = text;
        m_Listener.OnOutput(text);
        return false;
    }
    bool RefuseReport(Status status, const std::string& text) {
        m_Report.status = status;
        m_Listener.OnReport(text);
        return false;
    }
    bool Refuse(const OutputOutcome& outcome);

    void Tell(std::size_t input, const Problem& problem) {
        m_IsDoubtful |= problem.kind != ProblemKind::kNote;
        m_Report.inputs[input].problems.Add(problem);
        m_Listener.OnInput(input, problem);
    }
    void TellLeftOut(std::size_t input, Problem problem) {
        problem.text.insert(0, "left out: ");
        Tell(input, problem);
    }
    [[nodiscard]] bool IsInput(const output::FileIdentity& output) const;
    [[nodiscard]] std::size_t LeadingInput() const;
    // For an interface, whose name is UTF-8.
    [[nodiscard]] std::string InterfaceName(std::size_t input) const {
        const std::string name = NameOf(m_Job.inputs[input]);
        return utils::IsUtf8(name) ? name : utils::ShownText(name);
    }
    [[nodiscard]] bool IsOrdered() const { return m_Job.mode == Mode::kMerge; }
    [[nodiscard]] bool IsPcapNg() const { return m_Job.format == OutputFormat::kPcapNg; }
    void OnBlock(std::size_t opened, std::size_t source, capture::RecordBlock& block);

    const ExactJob& m_Job;
    RunListener& m_Listener;
    output::RunProgress& m_Progress;
    RunReport m_Report;
    bool m_IsDoubtful = false;

    output::OutputFile* m_ReportFile;
    output::OutputFile m_Output;
    std::vector<std::size_t> m_Opened;  // the job's inputs that could be opened
    std::unique_ptr<input::ReadAhead> m_Ahead;

    // The inputs that are captures: which of the job's they are, and their records.
    std::vector<std::size_t> m_Sources;
    std::vector<merge::InputOrder> m_Orders;
    // What the first block of each describes, until there is an output to tell.
    std::vector<std::vector<capture::Interface>> m_FirstInterfaces;
    merge::RecordWriter* m_Writer = nullptr;  // while there is one
    merge::OutputForm m_Form;
};

bool ExactRun::Refuse(const OutputOutcome& outcome) {
    m_Report.hasReaderLeft = outcome.hasReaderLeft;
    switch (outcome.kind) {
        case OutputOutcome::Kind::kGood:
            if (!outcome.text.empty()) {
                m_Report.outputText = outcome.text;
                m_Listener.OnOutput(outcome.text);
            }
            return true;
        case OutputOutcome::Kind::kExists:
            return Refuse(Status::kOutputExists, outcome.text);
        case OutputOutcome::Kind::kTaken:
            m_Report.keptAs = outcome.keptAs;
            return Refuse(Status::kOutputExists,
                          outcome.text + "; the finished capture is " + outcome.keptAs);
        case OutputOutcome::Kind::kCannot:
            break;
    }
    return Refuse(Status::kCannotWrite, outcome.text);
}

bool ExactRun::IsInput(const output::FileIdentity& output) const {
    return std::ranges::any_of(m_Job.inputs, [&](const InputName& input) {
        struct stat status {};
        const bool isThere = (input.isStandardInput ? fstat(STDIN_FILENO, &status)
                                                    : stat(input.path.c_str(), &status)) == 0;
        return isThere && output::FileIdentity{status.st_dev, status.st_ino} == output;
    });
}

// What exists is refused before what cannot be written, for the report as for the output.
bool ExactRun::PrepareOutput() {
    constexpr const char* kIsInput = "it is one of the inputs";
    const OutputOutcome outcome = m_Output.Prepare(m_Job.output);
    if (m_Output.GetIdentity() && IsInput(*m_Output.GetIdentity())) {
        return Refuse(Status::kOutputExists, kIsInput);
    }
    if (m_ReportFile == nullptr || outcome.kind == OutputOutcome::Kind::kExists) {
        return Refuse(outcome);
    }
    const OutputOutcome report = m_ReportFile->Prepare(m_Job.report);
    if (m_ReportFile->GetIdentity() && IsInput(*m_ReportFile->GetIdentity())) {
        return RefuseReport(Status::kOutputExists, kIsInput);
    }
    if (m_ReportFile->IsSameAs(m_Output)) {
        return RefuseReport(Status::kOutputExists, "it is the output as well");
    }
    if (report.kind == OutputOutcome::Kind::kExists) {
        return RefuseReport(Status::kOutputExists, report.text);
    }
    return Refuse(outcome) && (report.IsGood() || RefuseReport(Status::kCannotWrite, report.text));
}

bool ExactRun::OpenInputs() {
    std::optional<DescriptorReserve> reserve(std::in_place);
    m_Report.hasBegun = true;
    std::vector<capture::InputFile> files;
    std::uint64_t bytesInAll = 0;
    bool isSizeKnown = true;
    for (std::size_t input = 0; input < m_Job.inputs.size(); ++input) {
        const InputName& name = m_Job.inputs[input];
        auto opened =
            name.isStandardInput ? capture::OpenStandardInput() : capture::OpenInputFile(name.path);
        if (const auto* const problem = std::get_if<Problem>(&opened)) {
            if (problem->error == EMFILE) {
                return Refuse(Status::kNothingToWrite,
                              "there are " + std::to_string(m_Job.inputs.size()) +
                                  " inputs, and descriptors for " + std::to_string(files.size()) +
                                  " of them; the hard limit (ulimit -Hn) allows no more");
            }
            TellLeftOut(input, *problem);
            continue;
        }
        auto& file = std::get<capture::InputFile>(opened);
        m_Report.inputs[input].bytesOnDisk = file.size;
        m_Report.inputs[input].isRegular = file.isRegular;
        bytesInAll += file.size;
        isSizeKnown &= file.isRegular;
        files.push_back(std::move(file));
        m_Opened.push_back(input);
    }
    m_Progress.bytesInAll = isSizeKnown ? bytesInAll : 0;
    reserve.reset();
    capture::BlockReader::Options options;
    options.ordersBlocks = IsOrdered();
    options.keepsAllLinkTypes = IsPcapNg();
    options.earliest = m_Job.earliest;
    options.latest = m_Job.latest;
    m_Ahead = std::make_unique<input::ReadAhead>(std::move(files),
                                                 input::BlockPlan::For(m_Job.inputs.size()),
                                                 options, m_Progress.bytesRead);
    return true;
}

// A block has been taken of the input that was opened as this one, and is to be this source.
void ExactRun::OnBlock(std::size_t opened, std::size_t source, capture::RecordBlock& block) {
    const std::size_t input = m_Opened[opened];
    if (block.problem) {
        m_Ahead->IsCapture(opened) ? Tell(input, *block.problem)
                                   : TellLeftOut(input, *block.problem);
    }
    if (!IsPcapNg()) {
        return;
    }
    if (m_Writer == nullptr) {
        m_FirstInterfaces.resize(source + 1);
        m_FirstInterfaces[source] = block.interfaces;
        return;
    }
    for (const capture::Interface& interface : block.interfaces) {
        // Once this fails, so does the next record, and the end of the writing tells why.
        static_cast<void>(
            m_Writer->WriteInterface(m_Orders[source], interface, InterfaceName(input)));
    }
}

// Takes the first block of every input, so that nothing is created before it is known what for.
bool ExactRun::LookAtInputs() {
    m_Orders.reserve(m_Opened.size());
    for (std::size_t opened = 0; opened < m_Opened.size(); ++opened) {
        const std::size_t input = m_Opened[opened];
        InputReport& report = m_Report.inputs[input];
        const std::size_t source = m_Sources.size();
        merge::InputOrder order(*m_Ahead, opened, IsOrdered(), report.tally,
                                [this, opened, source](capture::RecordBlock& block) {
                                    OnBlock(opened, source, block);
                                });
        if (m_Ahead->IsCapture(opened)) {
            report.isCapture = true;
            if (m_ReportFile != nullptr && input < RunReport::kMostTimelines) {
                report.tally.timeline = std::make_unique<merge::InputTimeline>();
            }
            report.traits = m_Ahead->Traits(opened);
            m_Sources.push_back(input);
            m_Orders.push_back(std::move(order));
        }
    }
    return !m_Sources.empty() ||
           Refuse(Status::kNothingToWrite, "not written: no input is a readable capture");
}

// The first input that has a record, or, where none has, the first.
std::size_t ExactRun::LeadingInput() const {
    const auto leading = std::ranges::find_if(
        m_Sources, [this](std::size_t input) { return m_Report.inputs[input].traits.hasRecord; });
    return leading != m_Sources.end() ? *leading : m_Sources.front();
}

bool ExactRun::FitIntoPcap() {
    const std::size_t leading = LeadingInput();
    const auto linkType = m_Report.inputs[leading].traits.linkType;
    for (const std::size_t input : m_Sources) {
        const CaptureTraits& traits = m_Report.inputs[input].traits;
        if (traits.hasRecord && traits.linkType != linkType) {
            Tell(input, {ProblemKind::kLeftOut,
                         "its link type is " + LinkType::Shown(*traits.linkType) + ", that of " +
                             m_Listener.ShownInput(leading) + " is " + LinkType::Shown(*linkType),
                         0, 0});
            return Refuse(Status::kNothingToWrite,
                          "not written: inputs of different link types do not fit into one pcap "
                          "file, but with --format=pcapng they do");
        }
    }
    return true;
}

// What the output is like follows from all inputs together.
bool ExactRun::ChooseForm() {
    const CaptureTraits& leading = m_Report.inputs[LeadingInput()].traits;
    m_Form.isPcapNg = IsPcapNg();
    m_Form.cutsFinerTimes = m_Job.format == OutputFormat::kPcap;
    m_Form.linkType = leading.linkType.value_or(LinkType::kEthernet);
    m_Form.fcsBits = leading.hasRecord ? leading.fcsBits : 0;
    m_Form.snapLen = kLeastSnapLen;
    for (const std::size_t input : m_Sources) {
        const CaptureTraits& traits = m_Report.inputs[input].traits;
        m_Form.snapLen = std::max(m_Form.snapLen, traits.snapLen);
        m_Form.hasNanoseconds |= traits.isFinerThanMicroseconds;
        if (traits.hasRecord && traits.fcsBits != leading.fcsBits) {
            m_Form.fcsBits = 0;
        }
    }
    if (m_Job.format != OutputFormat::kFitting) {
        m_Form.hasNanoseconds = m_Job.format != OutputFormat::kPcap;
    }
    if (m_Job.snapLen > 0) {
        m_Form.snapLen = m_Form.mostBytes = m_Job.snapLen;
    }
    m_Report.linkType = m_Form.linkType;
    m_Report.format = IsPcapNg()              ? capture::Format::kPcapNg
                      : m_Form.hasNanoseconds ? capture::Format::kClassicNanoseconds
                                              : capture::Format::kClassicMicroseconds;
    m_Report.compression = m_Job.compression;
    return IsPcapNg() ? FitIntoPcapNg() : FitIntoPcap();
}

// The format has 16 bits for a link type; a classic header has 26. An interface that does not fit
// is left away where no record needs it.
bool ExactRun::FitIntoPcapNg() {
    const auto isTooLarge = [](const capture::Interface& interface) {
        return interface.linkType > std::numeric_limits<std::uint16_t>::max();
    };
    for (std::size_t source = 0; source < m_Sources.size(); ++source) {
        if (!m_Report.inputs[m_Sources[source]].traits.hasRecord) {
            std::erase_if(m_FirstInterfaces[source], isTooLarge);
        }
        for (const capture::Interface& interface : m_FirstInterfaces[source]) {
            if (isTooLarge(interface)) {
                Tell(m_Sources[source],
                     {ProblemKind::kLeftOut,
                      "its link type is " + LinkType::Shown(interface.linkType), 0, 0});
                return Refuse(Status::kNothingToWrite,
                              "not written: pcap-ng has no room for such a link type");
            }
        }
    }
    return true;
}

void ExactRun::WriteOutput() {
    if (!Refuse(m_Output.Open())) {
        return;
    }
    const std::unique_ptr<codec::ByteSink> compressed = codec::MakeCompressedSink(
        m_Job.compression, m_Output, std::max(1U, std::thread::hardware_concurrency()));
    output::BlockWriter writer(compressed ? *compressed : m_Output);
    WriteRecords(writer);
    const OutputOutcome outcome = writer.Finish();  // tells of every write that failed
    m_Report.bytesWritten = m_Output.Size();
    if (Refuse(outcome)) {
        m_Report.status = m_IsDoubtful ? Status::kIncomplete : Status::kComplete;
    }
}

void ExactRun::WriteRecords(output::BlockWriter& writer) {
    merge::RecordWriter output(writer, m_Form, m_Progress);
    m_Writer = &output;
    static_cast<void>(BeginRecords() && WriteInOrder());  // false: see the end of the writing
    m_Writer = nullptr;
    m_Report.recordsWritten = output.Count();
    m_Report.stepsBack = output.StepsBack();
    if (output.Count() > 0) {
        m_Report.earliest = output.Earliest();
        m_Report.latest = output.Latest();
    }
}

bool ExactRun::BeginRecords() {
    if (!m_Writer->WriteFileHeader()) {
        return false;
    }
    for (std::size_t source = 0; IsPcapNg() && source < m_Orders.size(); ++source) {
        for (const capture::Interface& interface : m_FirstInterfaces[source]) {
            if (!m_Writer->WriteInterface(m_Orders[source], interface,
                                          InterfaceName(m_Sources[source]))) {
                return false;
            }
        }
    }
    for (merge::InputOrder& order : m_Orders) {
        order.Begin();
    }
    return true;
}

bool ExactRun::WriteInOrder() {
    switch (m_Job.mode) {
        case Mode::kMerge: {
            std::optional<merge::DuplicateWindow> window;
            if (m_Job.duplicateWindow) {
                window.emplace(*m_Job.duplicateWindow);
            }
            return merge::MergeByTime(m_Orders, *m_Writer, window ? &*window : nullptr);
        }
        case Mode::kConcatenate:
            return merge::Concatenate(m_Orders, *m_Writer);
        case Mode::kSquish:
        case Mode::kSquish10:
            return merge::Squish(m_Orders, m_Job.mode == Mode::kSquish10, *m_Writer);
    }
    return false;
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
    for (std::size_t opened = 0; opened < m_Opened.size(); ++opened) {
        if (m_Ahead->IsCapture(opened)) {
            if (const std::optional<Problem> change = m_Ahead->Change(opened)) {
                Tell(m_Opened[opened], *change);
            }
        }
    }
    if (m_Report.status == Status::kComplete && m_IsDoubtful) {
        m_Report.status = Status::kIncomplete;
    }
}

// The output is there now: whatever happens from here on must not say otherwise.
void ExactRun::TellWhatIsLeft() noexcept {
    try {
        TellTallies();
    } catch (const std::bad_alloc&) {
        m_Report.isUntold = true;
        if (m_Report.status == Status::kComplete) {
            m_Report.status = Status::kIncomplete;
        }
    }
}

}  // namespace

RunReport Run(const ExactJob& job, RunListener& listener, output::RunProgress& progress,
              output::OutputFile* reportFile) {
    return ExactRun(job, listener, progress, reportFile).Execute();
}

}  // namespace velora::exact
