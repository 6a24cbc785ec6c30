#include "app/terminal_line.h"

#include <algorithm>
#include <atomic>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr std::string_view kWipe = "\r\033[K";

// A line is on the terminal now; and its descriptor, for the handler.
std::atomic<bool> g_isDrawn = false;
std::atomic<int> g_terminal = -1;
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

// Which terminal a descriptor leads to, under whatever name it was opened; 0 where that is unknown.
unsigned int TerminalNumber(int descriptor) {
    unsigned int number = 0;
    return ioctl(descriptor, TIOCGDEV, &number) == 0 ? number : 0;
}

// The terminal of another user, behind su(1), can be opened as /dev/tty only, which need not be
// that of standard error.
MiscUtils::UniqueFd OpenTerminalAnew() {
    const unsigned int number = TerminalNumber(STDERR_FILENO);
    for (const char* const path : {"/proc/self/fd/2", "/dev/tty"}) {
        MiscUtils::UniqueFd terminal(open(path, O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
        if (terminal && number != 0 && TerminalNumber(terminal.Get()) == number) {
            return terminal;
        }
    }
    return {};
}

void WriteAtOnce(int descriptor, std::string_view text) noexcept {
    static_cast<void>(!write(descriptor, text.data(), text.size()));
}

}  // namespace

TerminalLine::~TerminalLine() {
    g_terminal = -1;
}

void TerminalLine::Open() {
    m_Terminal = OpenTerminalAnew();
    g_terminal = m_Terminal.Get();
}

void TerminalLine::Draw(std::string line) {
    if (!m_Terminal) {
        return;
    }
    winsize size{};
    if (ioctl(m_Terminal.Get(), TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
        // What wraps could not be wiped.
        line.resize(std::min<std::size_t>(line.size(), size.ws_col - 1U));
    }
    line.insert(0, kWipe);
    g_isDrawn = true;
    WriteAtOnce(m_Terminal.Get(), line);
}

std::string_view TerminalLine::WipingText() noexcept {
    return g_isDrawn.exchange(false) ? kWipe : std::string_view();
}

void TerminalLine::WipeOnSignal() noexcept {
    const int terminal = g_terminal;
    if (terminal >= 0) {
        WriteAtOnce(terminal, WipingText());
    }
}
