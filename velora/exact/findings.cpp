#include "velora/exact/findings.h"

namespace velora::exact {

using codec::OutputOutcome;

void Findings::AddProblem(std::size_t input, const capture::Problem& problem) {
    m_Facts.isDoubtful |= problem.kind != capture::ProblemKind::kNote;
    m_Report.inputs[input].problems.Add(problem);
    m_Listener.OnInput(input, problem);
}

void Findings::AddLeftOut(std::size_t input, capture::Problem problem) {
    problem.text.insert(0, "left out: ");
    AddProblem(input, problem);
}

void Findings::ReportOutput(const std::string& text) {
    m_Report.outputText = text;
    m_Listener.OnOutput(text);
}

void Findings::AddOutput(const OutputOutcome& outcome) {
    m_Facts.output = outcome.kind;
    m_Report.hasReaderLeft = outcome.hasReaderLeft;
    if (outcome.kind == OutputOutcome::Kind::kTaken) {
        m_Report.keptAs = outcome.keptAs;
        ReportOutput(outcome.text + "; the finished capture is " + outcome.keptAs);
    } else if (!outcome.text.empty()) {
        ReportOutput(outcome.text);
    }
}

void Findings::AddOutputIsInput() {
    m_Facts.isPathRefused = true;
    ReportOutput("it is one of the inputs");
}

void Findings::AddNothingToWrite(const std::string& text) {
    m_Facts.hasNothingToWrite = true;
    ReportOutput(text);
}

void Findings::AddStopped(bool hasBytes) {
    m_Facts.isStopped = true;
    ReportOutput(hasBytes ? "stopped: the output is not complete" : "stopped: nothing was written");
}

void Findings::AddReport(const OutputOutcome& outcome) {
    m_Facts.report = outcome.kind;
    if (!outcome.IsGood()) {
        m_Listener.OnReport(outcome.text);
    }
}

void Findings::AddReportRefused(const std::string& text) {
    m_Facts.isPathRefused = true;
    m_Listener.OnReport(text);
}

}  // namespace velora::exact
