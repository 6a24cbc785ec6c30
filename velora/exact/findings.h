// Findings: all that a run finds out and somebody is to know. It is told to the listener at once,
// kept for the report, and decides the status.

#pragma once

#include <cstddef>
#include <string>

#include "velora/capture/problem.h"
#include "velora/codec/byte_sink.h"
#include "velora/exact/run.h"
#include "velora/exact/run_report.h"
#include "velora/exact/status.h"

namespace velora::exact {

class Findings {
 public:
    // `report` has room for every input of the job. What is borrowed outlives the object.
    Findings(RunListener& listener, RunReport& report) : m_Listener(listener), m_Report(report) {}

    // What is wrong with an input of the job, or a note.
    void AddProblem(std::size_t input, const capture::Problem& problem);
    // The same, of one that is left out for it.
    void AddLeftOut(std::size_t input, capture::Problem problem);

    // Something that can no longer be told is doubtful.
    void AddDoubt() { m_Facts.isDoubtful = true; }

    // What became of the output, or of one step on the way to it. The last one counts.
    void AddOutput(const codec::OutputOutcome& outcome);
    // The output must not be written: it is one of the inputs.
    void AddOutputIsInput();
    // There is nothing to write, for that reason.
    void AddNothingToWrite(const std::string& text);

    // A stop was asked for. `hasBytes`: the output is a pipe or a device, and has some already.
    void AddStopped(bool hasBytes);

    // What became of the preparation of the report.
    void AddReport(const codec::OutputOutcome& outcome);
    // The report must not be written, for that reason.
    void AddReportRefused(const std::string& text);

    // All that was found so far taken together.
    [[nodiscard]] Status GetStatus() const { return StatusOf(m_Facts); }
    // Nothing that ends a run was found so far.
    [[nodiscard]] bool IsToGoOn() const { return IsOutputThere(GetStatus()); }

 private:
    void ReportOutput(const std::string& text);

    RunListener& m_Listener;
    RunReport& m_Report;
    RunFacts m_Facts;
};

}  // namespace velora::exact
