// ProgressLine: what a person sees of a run on standard error: messages, a line that tells how far
// it is, and a summary at the end.
//
// On a terminal the line of progress is drawn over and over at the same place, at most five times a
// second, and is gone when anything else is to be seen. Elsewhere, if asked for, it is a line every
// two seconds.

#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "app/terminal_line.h"
#include "velora/exact/run_report.h"
#include "velora/output/run_progress.h"

class ProgressLine {
 public:
    enum class Show {
        kWhereSeen,  // progress and summary on a terminal only
        kAlways,
        kNever,
    };

    ProgressLine(const velora::output::RunProgress& progress, Show show);
    // Ends the progress.
    ~ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    // From here on progress is shown, where it is to be. Throws std::system_error when there is no
    // thread for that.
    void Start();

    // Prints a line, given without its end, in place of the line of progress. Any thread.
    void PrintLine(const std::string& line);

    // Takes the line of progress away; it does not come back.
    void End();

    // Progress and summary are shown.
    [[nodiscard]] bool IsShown() const { return m_IsShown; }

 private:
    void DrawUntilTheEnd();
    [[nodiscard]] std::string Text() const;

    const velora::output::RunProgress& m_Progress;
    const std::chrono::steady_clock::time_point m_Start;
    const bool m_IsTerminal;
    const bool m_IsShown;
    TerminalLine m_TerminalLine;
    std::mutex m_Mutex;
    std::condition_variable m_HasEnded;
    bool m_IsEnding = false;
    std::jthread m_Thread;  // none when nothing is shown
};

// One line that tells what a run has written where.
[[nodiscard]] std::string SummaryText(const velora::exact::RunReport& report,
                                      const std::string& output);
