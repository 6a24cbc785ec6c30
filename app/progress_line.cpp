#include "app/progress_line.h"

#include <algorithm>
#include <cstddef>
#include <new>

#include <unistd.h>

#include "app/standard_error.h"
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

}  // namespace

ProgressLine::ProgressLine(const RunProgress& progress, Show show)
    : m_Progress(progress),
      m_Start(std::chrono::steady_clock::now()),
      m_IsTerminal(isatty(STDERR_FILENO) == 1),
      m_IsShown(show == Show::kAlways || (show == Show::kWhereSeen && m_IsTerminal)) {}

ProgressLine::~ProgressLine() {
    End();
}

void ProgressLine::Start() {
    if (m_IsShown) {
        if (m_IsTerminal) {
            m_TerminalLine.Open();
        }
        const MiscUtils::ScopedSignalBlock noSignals;
        m_Thread = std::jthread([this] { DrawUntilTheEnd(); });
    }
}

void ProgressLine::DrawUntilTheEnd() {
    const auto interval =
        m_IsTerminal ? kDrawInterval
                     : std::chrono::duration_cast<std::chrono::milliseconds>(kLineInterval);
    std::unique_lock lock(m_Mutex);
    while (!m_HasEnded.wait_for(lock, interval, [this] { return m_IsEnding; })) {
        try {
            if (m_IsTerminal) {
                m_TerminalLine.Draw(Text());
            } else {
                WriteToStandardError(Text() + "\n");
            }
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

void ProgressLine::PrintLine(const std::string& line) {
    const std::lock_guard lock(m_Mutex);
    WriteToStandardError(TerminalLine::WipingText());
    WriteToStandardError(line + "\n");
}

void ProgressLine::End() {
    {
        const std::lock_guard lock(m_Mutex);
        m_IsEnding = true;
        WriteToStandardError(TerminalLine::WipingText());
    }
    m_HasEnded.notify_all();
    if (m_Thread.joinable()) {
        m_Thread.join();
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
