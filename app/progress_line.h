// ProgressLine: what a person sees of a run on standard error: messages, a line that tells how far
// it is, and a summary at the end.
//
// On a terminal the line of progress is drawn over and over at the same place, at most five times a
// second, and is gone when anything else is to be seen. Elsewhere, if asked for, it is a line every
// two seconds. What cannot be written to standard error is dropped: nobody reads it.

#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "velora/exact/run.h"

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

    // Writes a line, given without its end. Any thread.
    void Tell(const std::string& line);

    // Takes the line of progress away; it does not come back.
    void End();

    // Progress and summary are shown.
    [[nodiscard]] bool IsShown() const { return m_IsShown; }

    // For the handler of a signal that ends the process: takes the line off the terminal.
    static void WipeOnSignal() noexcept;

 private:
    void Draw();
    [[nodiscard]] std::string Text() const;
    void WipeLocked();

    const velora::output::RunProgress& m_Progress;
    const std::chrono::steady_clock::time_point m_Start;
    const bool m_IsTerminal;
    const bool m_IsShown;
    std::mutex m_Mutex;
    std::condition_variable m_HasEnded;
    bool m_IsEnding = false;
    std::jthread m_Thread;  // none when nothing is shown
};

// One line that tells what a run has written where.
[[nodiscard]] std::string SummaryText(const velora::exact::RunReport& report,
                                      const std::string& output);

// Writes to standard error, all of it if it takes it.
void WriteToStandardError(std::string_view text) noexcept;
