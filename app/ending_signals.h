// What signals do to a run of the exact mode.

#pragma once

// From its making on, a signal that ends the process ends it tidily: unfinished outputs and the
// line of progress go first, and nothing of that waits for a terminal. A signal that was ignored
// when the process began stays ignored. A failed write answers with an error instead of a signal.
// One for the process.
class EndingSignals {
 public:
    EndingSignals();
    ~EndingSignals() = default;
    EndingSignals(const EndingSignals&) = delete;
    EndingSignals& operator=(const EndingSignals&) = delete;

    // Ends the process by SIGPIPE, as one that had not looked would have ended, and leaves nothing
    // behind; comes back where that signal was ignored at the start.
    void EndByPipe() const;

 private:
    bool m_WasPipeIgnored;
};
