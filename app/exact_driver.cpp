#include "app/exact_driver.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <new>
#include <span>
#include <string>
#include <system_error>
#include <utility>
#include <variant>
#include <vector>

#include <unistd.h>

#include "app/advice.h"
#include "app/exact_options.h"
#include "app/input_list.h"
#include "app/process_setup.h"
#include "app/progress_line.h"
#include "app/version.h"
#include "velora/exact/run.h"
#include "velora/logging/logger.h"
#include "velora/output/output_file.h"
#include "velora/report/report_json.h"
#include "velora/report/report_page.h"
#include "velora/utils/errno_text.h"
#include "velora/utils/shown_text.h"

namespace {

using velora::capture::Problem;
using velora::capture::ProblemKind;
using velora::codec::OutputOutcome;
using velora::exact::ExactJob;
using velora::exact::RunReport;
using velora::exact::RunSetting;
using velora::exact::Status;
using velora::output::OutputFile;
using velora::utils::ShownText;

constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

std::int32_t Exit(Status status) {
    return static_cast<std::int32_t>(status);
}

void TellLine(const std::string& line) {
    WriteToStandardError("seamtool: " + line + "\n");
}

void TellExhausted() {
    WriteToStandardError("seamtool: memory is exhausted\n");
}

std::int32_t TellWrongCommandLine(const std::string& fault) {
    TellLine(fault);
    WriteToStandardError("Try 'seamtool --exact --help'.\n");
    return Exit(Status::kWrongCommandLine);
}

// Leaves nothing behind, and ends the process as it would have ended without a handler.
void EndBySignal(int signal) {
    velora::output::OutputFile::RemoveUnfinished();
    ProgressLine::WipeOnSignal();
    std::signal(signal, SIG_DFL);
    raise(signal);
}

bool IsIgnored(int signal) {
    struct sigaction action {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

// Signals that end the process end it tidily, unless they are ignored; failed writes answer with an
// error instead of a signal.
class SignalSetup {
 public:
    SignalSetup() : m_WasPipeIgnored(IsIgnored(SIGPIPE)) {
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
    }

    // Ends the process by SIGPIPE, as one that had not looked would have ended, and leaves nothing
    // behind; comes back where that signal was ignored at the start.
    void EndByPipe() const {
        if (!m_WasPipeIgnored) {
            OutputFile::RemoveUnfinished();
            std::signal(SIGPIPE, SIG_DFL);
            raise(SIGPIPE);
        }
    }

 private:
    bool m_WasPipeIgnored;
};

// What was asked for instead of a run goes to standard output.
Status Print(const std::string& text, const SignalSetup& signals) {
    if (WasClosedAtStart(STDOUT_FILENO)) {
        TellLine("standard output: is closed");
        return Status::kCannotWrite;
    }
    if (std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0) {
        return Status::kComplete;
    }
    const int error = errno;
    if (error == EPIPE) {
        signals.EndByPipe();
    }
    TellLine("standard output: " + MiscUtils::ErrnoText(error).text);
    return Status::kCannotWrite;
}

std::string ShownOutput(const ExactJob& job) {
    if (job.output.empty()) {
        return "''";
    }
    return job.output == "-" ? "standard output" : ShownText(job.output);
}

// Prints what happens, one line each: "seamtool: <path>: <what happened>".
class Teller final : public velora::exact::RunListener {
 public:
    Teller(const ExactJob& job, ProgressLine& line, bool isQuiet)
        : m_Job(job), m_Line(line), m_IsQuiet(isQuiet) {}

    void OnInput(std::size_t input, const Problem& problem) override {
        if (problem.kind != ProblemKind::kNote || !m_IsQuiet) {
            m_Line.Tell("seamtool: " +
                        ShownText(NameOf(m_Job.inputs[input]) + ": " + problem.text) +
                        AdviceFor(problem));
        }
    }

    // Held back: a pipe that nobody reads any more ends the run without a word.
    void OnOutput(const std::string& text) override {
        m_OutputText = "seamtool: " + ShownOutput(m_Job) + ": " + ShownText(text);
    }

    void OnReport(const std::string& text) override {
        m_Line.Tell("seamtool: " + ShownText(m_Job.report) + ": " + ShownText(text));
    }

    void TellOutput() {
        if (!m_OutputText.empty()) {
            m_Line.Tell(m_OutputText);
        }
    }

 private:
    const ExactJob& m_Job;
    ProgressLine& m_Line;
    bool m_IsQuiet;
    std::string m_OutputText;
};

std::string FaultOfStandardStreams(const ExactJob& job) {
    for (const velora::exact::InputName& input : job.inputs) {
        if (input.isStandardInput && isatty(STDIN_FILENO) == 1) {
            return "standard input is a terminal, which gives no capture";
        }
    }
    if (job.output == "-" && isatty(STDOUT_FILENO) == 1) {
        return "standard output is a terminal, which a capture would upset: redirect it";
    }
    return {};
}

// Puts the inputs that the lists name behind those of the command line.
std::string FaultOfLists(ExactOptions& options) {
    for (const std::string& list : options.lists) {
        auto read = ReadInputList(list);
        if (const auto* const fault = std::get_if<ListFault>(&read)) {
            const std::string name = list == "-" ? "standard input" : ShownText(list);
            return "the list " + name + " " + fault->text;
        }
        for (std::string& path : std::get<std::vector<std::string>>(read)) {
            options.job.inputs.push_back({std::move(path), false});
        }
    }
    return {};
}

// Writes the report. Gives the status that the run then has: an output that is written stays, and
// is as good as it was, but the report was asked for too.
Status WriteReport(OutputFile& file, const RunSetting& setting, const RunReport& report,
                   Teller& teller) {
    const std::string text = setting.job.report.ends_with(".json")
                                 ? velora::report::ReportJson(setting, report)
                                 : velora::report::ReportPage(setting, report);
    OutputOutcome outcome = file.Open();
    if (outcome.IsGood()) {
        outcome = file.Write({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    }
    if (outcome.IsGood()) {
        outcome = file.Finish();
    }
    if (outcome.IsGood()) {
        if (!outcome.text.empty()) {
            teller.OnReport(outcome.text);
        }
        return report.status;
    }
    const bool isElsewhere = outcome.kind == OutputOutcome::Kind::kTaken;
    teller.OnReport(outcome.text +
                    (isElsewhere ? "; the finished report is " + outcome.keptAs : std::string()) +
                    (report.IsWritten() ? "; the capture is written all the same" : ""));
    if (!report.IsWritten()) {
        return report.status;
    }
    return isElsewhere || outcome.kind == OutputOutcome::Kind::kExists ? Status::kOutputExists
                                                                       : Status::kCannotWrite;
}

std::int64_t NanosecondsSince1970() {
    return std::chrono::nanoseconds(std::chrono::system_clock::now().time_since_epoch()).count();
}

std::int32_t RunJob(const ExactOptions& options, const SignalSetup& signals) {
    const ExactJob& job = options.job;
    velora::output::RunProgress progress;
    const auto show = options.isQuiet         ? ProgressLine::Show::kNever
                      : options.showsProgress ? ProgressLine::Show::kAlways
                                              : ProgressLine::Show::kWhereSeen;
    ProgressLine line(progress, show);
    Teller teller(job, line, options.isQuiet);
    RunSetting setting{job, kVersion, options.words, options.homeDirectory, NanosecondsSince1970()};
    const auto start = std::chrono::steady_clock::now();
    OutputFile reportFile;
    RunReport report;
    try {
        report =
            velora::exact::Run(job, teller, progress, job.report.empty() ? nullptr : &reportFile);
    } catch (const std::system_error& error) {
        line.Tell("seamtool: " + ShownOutput(job) + ": not written: " + ShownText(error.what()));
        return Exit(Status::kCannotWrite);
    }
    setting.duration = std::chrono::nanoseconds(std::chrono::steady_clock::now() - start).count();
    // What the status says holds, whether or not all else can still be said: a report that is asked
    // for is not there yet.
    const bool wantsReport = !job.report.empty() && report.hasBegun;
    Status status = wantsReport && report.IsWritten() ? Status::kCannotWrite : report.status;
    try {
        line.End();
        if (report.hasReaderLeft) {
            signals.EndByPipe();
        }
        teller.TellOutput();
        if (line.IsShown() &&
            (report.status == Status::kComplete || report.status == Status::kIncomplete)) {
            line.Tell(SummaryText(report, ShownOutput(job)));
        }
        if (wantsReport) {
            status = WriteReport(reportFile, setting, report, teller);
        }
    } catch (const std::bad_alloc&) {
        TellExhausted();
    }
    if (report.isUntold) {
        TellExhausted();
    }
    return Exit(status);
}

std::int32_t RunWords(std::span<char*> words, const SignalSetup& signals) {
    auto parsed = ParseExactOptions(words);
    if (const auto* const fault = std::get_if<std::string>(&parsed)) {
        return TellWrongCommandLine(*fault);
    }
    auto& options = std::get<ExactOptions>(parsed);
    if (options.wish != ExactOptions::Wish::kRun) {
        const bool isHelp = options.wish == ExactOptions::Wish::kHelp;
        return Exit(Print(isHelp ? ExactHelp() : std::string(kVersion) + "\n", signals));
    }
    if (!options.homeDirectory.empty() && chdir(options.homeDirectory.c_str()) != 0) {
        TellLine(ShownText(options.homeDirectory) +
                 ": cannot be entered: " + MiscUtils::ErrnoText(errno).text);
        return Exit(Status::kWrongCommandLine);
    }
    if (const std::string fault = FaultOfStandardStreams(options.job); !fault.empty()) {
        return TellWrongCommandLine(fault);
    }
    if (const std::string fault = FaultOfLists(options); !fault.empty()) {
        return TellWrongCommandLine(fault);
    }
    if (options.job.output == "-" && WasClosedAtStart(STDOUT_FILENO)) {
        TellLine("standard output: is closed");
        return Exit(Status::kCannotWrite);
    }
    return RunJob(options, signals);
}

}  // namespace

std::int32_t RunExactDriver(int argc, char** argv) {
    // Nothing has been written to the log yet, so closing removes it.
    VeloLogger::GlobalLogger.Close();
    const SignalSetup signals;
    try {
        return RunWords(std::span(argv, static_cast<std::size_t>(argc)).subspan(2), signals);
    } catch (const std::bad_alloc&) {
        TellExhausted();
    } catch (const std::exception& error) {
        TellLine(ShownText(error.what()));
    }
    return Exit(Status::kCannotWrite);
}
