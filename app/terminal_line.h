// TerminalLine: a line on the terminal of standard error that is drawn over and over at its place.
//
// A terminal can be stopped (Ctrl-S), and whoever writes to it then waits, for ever perhaps. This
// line is written through an open description of its own that does not wait, so that neither the
// thread that draws nor a signal handler can hang. That of standard error stays as it is: other
// processes share it.

#pragma once

#include <string>
#include <string_view>

#include "velora/utils/scope_guards.h"

class TerminalLine {
 public:
    // Nothing is drawn where standard error is no terminal, or the system opens it no second time.
    TerminalLine() = default;
    ~TerminalLine();
    TerminalLine(const TerminalLine&) = delete;
    TerminalLine& operator=(const TerminalLine&) = delete;

    // Once. One object of the process at a time.
    void Open();

    // Draws as much of it as the terminal shows in one line, if the terminal takes it now.
    void Draw(std::string line);

    // What to write to standard error before anything else, so that the line is gone; empty when
    // none is drawn. From then on none is.
    [[nodiscard]] static std::string_view WipingText() noexcept;

    // For the handler of a signal that ends the process: takes the line off the terminal, if that
    // can be at once.
    static void WipeOnSignal() noexcept;

 private:
    MiscUtils::UniqueFd m_Terminal;
};
