#include "app/progress_line.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <string_view>

#include <unistd.h>

#include "capture/plain_words.h"
#include "utils/saturating.h"
#include "utils/scope_guards.h"

namespace {

using velora::capture::Counted;
using velora::capture::Seconds;
using velora::exact::RunProgress;
using velora::exact::RunReport;

constexpr std::chrono::milliseconds kDrawInterval(200);
constexpr std::chrono::seconds kLineInterval(2);
constexpr std::string_view kWipe = "\r\033[K";

// A line of progress is on the terminal now.
std::atomic<bool> g_isDrawn = false;
static_assert(std::atomic<bool>::is_always_lock_free);

// "1.5 GB": three digits at most, in powers of ten as disks and networks have them.
std::string ByteCount(double bytes) {
    constexpr std::array<const char*, 6> kUnits = {"bytes", "kB", "MB", "GB", "TB", "PB"};
    std::size_t unit = 0;
    while (bytes >= 999.5 && unit + 1 < kUnits.size()) {
        bytes /= 1000;
        ++unit;
    }
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), unit > 0 && bytes < 9.95 ? "%.1f %s" : "%.0f %s", bytes,
                  kUnits[unit]);
    return text.data();
}

std::string Duration(double seconds) {
    const auto whole = static_cast<std::uint64_t>(std::max(0.0, seconds + 0.5));
    if (whole < 60) {
        return std::to_string(whole) + " s";
    }
    if (whole < 3600) {
        return std::to_string(whole / 60) + " min " + std::to_string(whole % 60) + " s";
    }
    return std::to_string(whole / 3600) + " h " + std::to_string(whole / 60 % 60) + " min";
}

// UTC, to the second, which is enough to see which capture it is.
std::string Moment(std::int64_t nanoseconds) {
    constexpr std::int64_t kSecond = 1'000'000'000;
    const std::time_t seconds = nanoseconds / kSecond - (nanoseconds % kSecond < 0 ? 1 : 0);
    std::tm parts{};
    std::array<char, 64> text{};
    gmtime_r(&seconds, &parts);
    std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &parts);
    return text.data();
}

}  // namespace

void WriteToStandardError(const std::string& text) noexcept {
    for (std::string_view left = text; !left.empty();) {
        const ssize_t count = write(STDERR_FILENO, left.data(), left.size());
        if (count < 0 && errno != EINTR) {
            return;
        }
        left.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
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
        if (m_IsTerminal) {
            g_isDrawn = true;
            WriteToStandardError(std::string(kWipe) + Text());
        } else {
            WriteToStandardError(Text() + "\n");
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
                ByteCount(read) + " of " + ByteCount(inAll);
    } else {
        text += ByteCount(read);
    }
    text += ", " + Counted(m_Progress.records.load(), "record") + ", " + ByteCount(rate) + "/s";
    if (inAll > 0 && rate > 0) {
        text += ", " + Duration((inAll - read) / rate) + " left";
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
    std::string text = "seamtool: " + Counted(report.recordsWritten, "record") + ", " +
                       ByteCount(static_cast<double>(report.bytesWritten));
    if (report.earliest && report.latest) {
        text += ", from " + Moment(*report.earliest) + " to " + Moment(*report.latest) + " UTC (" +
                Seconds(MiscUtils::SaturatingDifference(*report.latest, *report.earliest)) + ")";
    }
    text += ", of " + Counted(captures, "input");
    if (captures < report.inputs.size()) {
        text += " (" + std::to_string(report.inputs.size() - captures) + " left out)";
    }
    return text + ", in " + output;
}
