// The messages of the exact mode, one line each: "seamtool: <path>: <what happened>".

#pragma once

#include <cstddef>
#include <string>

#include "app/progress_line.h"
#include "velora/exact/job.h"
#include "velora/exact/run.h"

// A path as messages show it: "''" when it is empty.
[[nodiscard]] std::string ShownPath(const std::string& path);
[[nodiscard]] std::string ShownOutput(const velora::exact::ExactJob& job);

// Prints a message that no run is under way for, given without the name of the tool.
void PrintMessage(const std::string& text);
void PrintMemoryExhausted() noexcept;

// Prints what happens in a run, in place of the line of progress. What it is given outlives it.
class MessagePrinter final : public velora::exact::RunListener {
 public:
    MessagePrinter(const velora::exact::ExactJob& job, ProgressLine& line, bool isQuiet)
        : m_Job(job), m_Line(line), m_IsQuiet(isQuiet) {}

    void OnInput(std::size_t input, const velora::capture::Problem& problem) override;
    // Held back: a pipe that nobody reads any more ends the run without a word.
    void OnOutput(const std::string& text) override;
    void OnReport(const std::string& text) override;

    // Prints what was held back.
    void PrintAboutOutput();

 private:
    const velora::exact::ExactJob& m_Job;
    ProgressLine& m_Line;
    bool m_IsQuiet;
    std::string m_OutputText;
};
