#include "app/exact_messages.h"

#include "app/advice.h"
#include "app/standard_error.h"
#include "velora/utils/shown_text.h"

using velora::capture::Problem;
using velora::capture::ProblemKind;
using velora::exact::ExactJob;
using velora::utils::ShownText;

std::string ShownPath(const std::string& path) {
    return path.empty() ? "''" : ShownText(path);
}

std::string ShownOutput(const ExactJob& job) {
    return job.output == "-" ? "standard output" : ShownPath(job.output);
}

void PrintMessage(const std::string& text) {
    WriteToStandardError("seamtool: " + text + "\n");
}

void PrintMemoryExhausted() noexcept {
    WriteToStandardError("seamtool: memory is exhausted\n");
}

void MessagePrinter::OnInput(std::size_t input, const Problem& problem) {
    if (problem.kind != ProblemKind::kNote || !m_IsQuiet) {
        m_Line.PrintLine("seamtool: " + ShownPath(NameOf(m_Job.inputs[input])) + ": " +
                         ShownText(problem.text) + AdviceFor(problem));
    }
}

void MessagePrinter::OnOutput(const std::string& text) {
    m_OutputText = "seamtool: " + ShownOutput(m_Job) + ": " + ShownText(text);
}

void MessagePrinter::OnReport(const std::string& text) {
    m_Line.PrintLine("seamtool: " + ShownPath(m_Job.report) + ": " + ShownText(text));
}

void MessagePrinter::PrintAboutOutput() {
    if (!m_OutputText.empty()) {
        m_Line.PrintLine(m_OutputText);
    }
}
