#include "app/ending_signals.h"

#include <csignal>

#include "app/process_setup.h"
#include "app/terminal_line.h"
#include "velora/output/output_file.h"

namespace {

using velora::output::OutputFile;

// Leaves nothing behind, and ends the process as it would have ended without a handler.
void EndBySignal(int signal) {
    OutputFile::RemoveUnfinished();
    TerminalLine::WipeOnSignal();
    std::signal(signal, SIG_DFL);
    raise(signal);
}

bool IsIgnored(int signal) {
    struct sigaction action {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

EndingSignals::EndingSignals() : m_WasPipeIgnored(IsIgnored(SIGPIPE)) {
    for (const int signal : kEndingSignals) {
        if (!IsIgnored(signal)) {
            struct sigaction action {};
            action.sa_handler = EndBySignal;
            sigfillset(&action.sa_mask);
            sigaction(signal, &action, nullptr);
        }
    }
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    LetEndingSignalsThrough();
}

void EndingSignals::EndByPipe() const {
    if (!m_WasPipeIgnored) {
        OutputFile::RemoveUnfinished();
        std::signal(SIGPIPE, SIG_DFL);
        raise(SIGPIPE);
    }
}
