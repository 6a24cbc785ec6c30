#include "app/progress_line.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <new>
#include <string_view>

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "velora/utils/plain_words.h"
#include "velora/utils/saturating.h"
#include "velora/utils/scope_guards.h"

namespace {

using velora::exact::RunReport;
using velora::output::RunProgress;
using velora::utils::ByteCountText;
using velora::utils::CountText;
using velora::utils::DurationText;
using velora::utils::SecondsText;
using velora::utils::UtcText;

constexpr std::chrono::milliseconds kDrawInterval(200);
constexpr std::chrono::seconds kLineInterval(2);
constexpr std::string_view kWipe = "\r\033[K";

// A line of progress is on the terminal now.
std::atomic<bool> g_isDrawn = false;
static_assert(std::atomic<bool>::is_always_lock_free);

// As much of a line as the terminal shows in one: what wraps could not be wiped.
std::string Fitting(std::string line) {
    winsize size{};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
        line.resize(std::min<std::size_t>(line.size(), size.ws_col - 1U));
    }
    return line;
}

}  // namespace

void WriteToStandardError(std::string_view text) noexcept {
    while (!text.empty()) {
        const ssize_t count = write(STDERR_FILENO, text.data(), text.size());
        if (count < 0 && errno == EAGAIN) {  // whoever shares it with us has set O_NONBLOCK
            pollfd wait{.fd = STDERR_FILENO, .events = POLLOUT, .revents = 0};
            static_cast<void>(poll(&wait, 1, -1));
        } else if (count < 0 && errno != EINTR) {
            return;
        }
        text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
}

ProgressLine::ProgressLine(const RunProgress& progress, Show show)
    : m_Progress(progress),
      m_Start(std::chrono::steady_clock::now()),
      m_IsTerminal(isatty(STDERR_FILENO) == 1),
      m_IsShown(show == Show::kAlways || (show == Show::kWhereSeen && m_IsTerminal)) {
    if (m_IsShown) {
        const MiscUtils::ScopedSignalBlock noSignals;
        m_Thread = std::jthread([this] { Draw(); });
    }
}

ProgressLine::~ProgressLine() {
    End();
}

void ProgressLine::Draw() {
    const auto interval =
        m_IsTerminal ? kDrawInterval
                     : std::chrono::duration_cast<std::chrono::milliseconds>(kLineInterval);
    std::unique_lock lock(m_Mutex);
    while (!m_HasEnded.wait_for(lock, interval, [this] { return m_IsEnding; })) {
        try {
            const std::string text =
                m_IsTerminal ? std::string(kWipe) + Fitting(Text()) : Text() + "\n";
            g_isDrawn = m_IsTerminal;
            WriteToStandardError(text);
        } catch (const std::bad_alloc&) {
            continue;  // a line less is no harm
        }
    }
}

std::string ProgressLine::Text() const {
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - m_Start;
    const auto read = static_cast<double>(m_Progress.bytesRead.load());
    const auto inAll = static_cast<double>(m_Progress.bytesInAll.load());
    const double rate = read / std::max(passed.count(), 0.001);
    std::string text = "seamtool: ";
    if (inAll > 0) {
        text += std::to_string(static_cast<int>(100 * std::min(1.0, read / inAll))) + " %, " +
                ByteCountText(read) + " of " + ByteCountText(inAll);
    } else {
        text += ByteCountText(read);
    }
    text +=
        ", " + CountText(m_Progress.records.load(), "record") + ", " + ByteCountText(rate) + "/s";
    if (inAll > 0 && rate > 0) {
        text += ", " + DurationText((inAll - read) / rate) + " left";
    }
    return text;
}

void ProgressLine::WipeLocked() {
    if (g_isDrawn.exchange(false)) {
        WriteToStandardError(std::string(kWipe));
    }
}

void ProgressLine::Tell(const std::string& line) {
    const std::lock_guard lock(m_Mutex);
    WipeLocked();
    WriteToStandardError(line + "\n");
}

void ProgressLine::End() {
    {
        const std::lock_guard lock(m_Mutex);
        m_IsEnding = true;
        WipeLocked();
    }
    m_HasEnded.notify_all();
    if (m_Thread.joinable()) {
        m_Thread.join();
    }
}

void ProgressLine::WipeOnSignal() noexcept {
    if (g_isDrawn.exchange(false)) {
        static_cast<void>(!write(STDERR_FILENO, kWipe.data(), kWipe.size()));
    }
}

std::string SummaryText(const RunReport& report, const std::string& output) {
    std::size_t captures = 0;
    for (const auto& input : report.inputs) {
        captures += input.isCapture ? 1 : 0;
    }
    std::string text = "seamtool: " + CountText(report.recordsWritten, "record") + ", " +
                       ByteCountText(static_cast<double>(report.bytesWritten));
    if (report.earliest && report.latest) {
        text +=
            ", from " + UtcText(*report.earliest) + " to " + UtcText(*report.latest) + " UTC (" +
            SecondsText(MiscUtils::SaturatingDifference(*report.latest, *report.earliest)) + ")";
    }
    text += ", of " + CountText(captures, "input");
    if (captures < report.inputs.size()) {
        text += " (" + std::to_string(report.inputs.size() - captures) + " left out)";
    }
    return text + ", in " + output;
}
