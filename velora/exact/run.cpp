#include "velora/exact/run.h"

#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "velora/exact/choose_form.h"
#include "velora/exact/count_problems.h"
#include "velora/exact/findings.h"
#include "velora/exact/open_inputs.h"
#include "velora/exact/prepare_outputs.h"
#include "velora/exact/write_records.h"
#include "velora/formats/link_types.h"
#include "velora/utils/shown_text.h"

namespace velora::exact {
namespace {

using capture::CaptureTraits;
using capture::ProblemKind;

// One run, step by step; each looks at what the one before has found.
class ExactRun {
 public:
    ExactRun(const ExactJob& job, RunListener& listener, output::RunProgress& progress,
             output::OutputFile* reportFile, const std::stop_token& stop)
        : m_Job(job),
          m_Progress(progress),
          m_ReportFile(reportFile),
          m_Stop(stop),
          m_Findings(listener, m_Report) {
        m_Report.inputs.resize(job.inputs.size());
    }

    RunReport Execute() {
        PrepareOutputs(m_Job, m_Output, m_ReportFile, m_Findings);
        if (m_Findings.IsToGoOn()) {
            m_Report.hasBegun = true;
            m_Inputs = OpenInputs(m_Job, m_Progress, m_Report, m_Findings, m_Stop);
        }
        if (m_Inputs.set && FitIntoForm() && OpenOutput()) {
            Write();
        }
        m_Report.status = m_Findings.GetStatus();
        return std::move(m_Report);
    }

 private:
    bool FitIntoForm();
    bool OpenOutput();
    void Write();
    void CloseLedger(output::Ledger& ledger);
    void AddCountProblems() noexcept;
    [[nodiscard]] std::vector<std::string> InterfaceNames() const;

    const ExactJob& m_Job;
    output::RunProgress& m_Progress;
    output::OutputFile* m_ReportFile;
    const std::stop_token& m_Stop;
    RunReport m_Report;
    Findings m_Findings;
    output::OutputFile m_Output;
    OpenedInputs m_Inputs;
    output::OutputForm m_Form;
};

// Chooses what the output is like. False where not all inputs fit into one.
bool ExactRun::FitIntoForm() {
    std::vector<CaptureTraits> traits;
    for (const input::InputSet::Source& source : m_Inputs.set->Sources()) {
        traits.push_back(source.traits);
    }
    m_Form = ChooseForm(traits, m_Job);
    m_Report.format = m_Form.format;
    m_Report.linkType = m_Form.linkType;
    m_Report.compression = m_Job.compression;
    const std::optional<std::size_t> misfit = FindMisfit(traits, m_Form);
    if (!misfit) {
        return true;
    }
    std::string text = "its link type is " + formats::link_type::Shown(*traits[*misfit].linkType);
    if (!m_Form.IsPcapNg()) {
        const std::size_t leading = m_Inputs.inputOf[LeadingSource(traits)];
        text += ", that of " + NameOf(m_Job.inputs[leading]) + " is " +
                formats::link_type::Shown(m_Form.linkType);
    }
    m_Findings.AddProblem(m_Inputs.inputOf[*misfit], {ProblemKind::kLeftOut, text, 0, 0});
    m_Findings.AddNothingToWrite(
        m_Form.IsPcapNg() ? "not written: pcap-ng has no room for such a link type"
                          : "not written: inputs of different link types do not fit into one pcap "
                            "file, but with --format=pcapng they do");
    return false;
}

bool ExactRun::OpenOutput() {
    m_Findings.AddOutput(m_Output.Open());
    return m_Findings.IsToGoOn();
}

// In UTF-8, as the format wants it.
std::vector<std::string> ExactRun::InterfaceNames() const {
    std::vector<std::string> names;
    for (const std::size_t input : m_Inputs.inputOf) {
        names.push_back(utils::Utf8Text(NameOf(m_Job.inputs[input])));
    }
    return names;
}

void ExactRun::Write() {
    output::Ledger ledger(m_Inputs.inputOf.size(), m_Progress);
    for (std::uint32_t source = 0; m_ReportFile != nullptr && source < m_Inputs.inputOf.size();
         ++source) {
        if (m_Inputs.inputOf[source] < RunReport::kMostTimelines) {
            ledger.Of(source).timeline = std::make_unique<output::Timeline>();
        }
    }
    const std::optional<codec::OutputOutcome> outcome =
        WriteRecords(m_Job, m_Form, *m_Inputs.set, InterfaceNames(), m_Output, ledger, m_Stop);
    m_Report.bytesWritten = m_Output.Size();
    CloseLedger(ledger);
    if (!outcome) {
        return m_Findings.AddStopped(m_Output.GetIdentity() && m_Output.Size() > 0);
    }
    m_Findings.AddOutput(*outcome);
    if (outcome->kind != codec::OutputOutcome::Kind::kCannot) {
        AddCountProblems();
    }
}

void ExactRun::CloseLedger(output::Ledger& ledger) {
    const output::OutputCounts counts = ledger.Output();
    m_Report.recordsWritten = counts.records;
    m_Report.stepsBack = counts.stepsBack;
    m_Report.earliest = counts.earliest;
    m_Report.latest = counts.latest;
    for (std::uint32_t source = 0; source < m_Inputs.inputOf.size(); ++source) {
        m_Report.inputs[m_Inputs.inputOf[source]].counts = std::move(ledger.Of(source));
    }
}

// What can only be said of an input as a whole. The output is there now: whatever happens here must
// not say otherwise.
void ExactRun::AddCountProblems() noexcept {
    try {
        for (std::uint32_t source = 0; source < m_Inputs.inputOf.size(); ++source) {
            const std::size_t input = m_Inputs.inputOf[source];
            const InputReport& report = m_Report.inputs[input];
            for (const auto& problem : ProblemsOf(report.counts, report.traits, m_Form)) {
                m_Findings.AddProblem(input, problem);
            }
            if (const auto change = m_Inputs.set->Change(source)) {
                m_Findings.AddProblem(input, *change);
            }
        }
    } catch (const std::bad_alloc&) {
        m_Report.isUntold = true;
        m_Findings.AddDoubt();
    }
}

}  // namespace

RunReport Run(const ExactJob& job, RunListener& listener, output::RunProgress& progress,
              output::OutputFile* reportFile, const std::stop_token& stop) {
    return ExactRun(job, listener, progress, reportFile, stop).Execute();
}

}  // namespace velora::exact
