// A pseudo-terminal: the tool has the one side as its standard error, the test sees the other.

#pragma once

#include <algorithm>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include "tests/support/tool_run.h"
#include "velora/utils/scope_guards.h"

class Terminal {
 public:
    Terminal() : m_Screen(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        unlockpt(m_Screen.Get());
        m_Tool.Reset(open(ptsname(m_Screen.Get()), O_RDWR | O_NOCTTY | O_CLOEXEC));
    }

    // In the child, before the tool starts.
    void BecomeStandardError() const { dup2(m_Tool.Get(), STDERR_FILENO); }

    // From here on nothing that is written to it passes, as behind Ctrl-S; the second lets it go on.
    void Stop() const { tcflow(m_Tool.Get(), TCOOFF); }
    void GoOn() const { tcflow(m_Tool.Get(), TCOON); }

    // All that was written so far.
    [[nodiscard]] const std::string& Text() {
        pollfd polled{.fd = m_Screen.Get(), .events = POLLIN, .revents = 0};
        char part[4096];
        while (poll(&polled, 1, 50) > 0) {
            m_Text.append(part, static_cast<std::size_t>(std::max<ssize_t>(read(polled.fd, part, sizeof part), 0)));
        }
        return m_Text;
    }

    void WaitFor(std::string_view text) {
        WaitUntil([&] { return Text().find(text) != std::string::npos; });
    }

 private:
    MiscUtils::UniqueFd m_Screen;
    MiscUtils::UniqueFd m_Tool;
    std::string m_Text;
};
