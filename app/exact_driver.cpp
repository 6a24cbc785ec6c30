#include "app/exact_driver.h"

#include <cerrno>
#include <chrono>
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

#include "app/ending_signals.h"
#include "app/exact_descriptors.h"
#include "app/exact_messages.h"
#include "app/exact_options.h"
#include "app/exact_report.h"
#include "app/input_list.h"
#include "app/process_setup.h"
#include "app/progress_line.h"
#include "app/standard_error.h"
#include "app/version.h"
#include "velora/exact/run.h"
#include "velora/logging/logger.h"
#include "velora/output/output_file.h"
#include "velora/utils/errno_text.h"
#include "velora/utils/shown_text.h"

namespace {

using velora::exact::ExactJob;
using velora::exact::RunReport;
using velora::exact::RunSetting;
using velora::exact::Status;
using velora::output::OutputFile;
using velora::utils::ShownText;

std::int32_t Exit(Status status) {
    return static_cast<std::int32_t>(status);
}

std::int32_t RefuseCommandLine(const std::string& fault) {
    PrintMessage(fault);
    WriteToStandardError("Try 'seamtool --exact --help'.\n");
    return Exit(Status::kWrongCommandLine);
}

// What was asked for instead of a run goes to standard output.
Status Print(const std::string& text, const EndingSignals& signals) {
    if (WasClosedAtStart(STDOUT_FILENO)) {
        PrintMessage("standard output: is closed");
        return Status::kCannotWrite;
    }
    if (std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0) {
        return Status::kComplete;
    }
    const int error = errno;
    if (error == EPIPE) {
        signals.EndByPipe();
    }
    PrintMessage("standard output: " + MiscUtils::ErrnoText(error).text);
    return Status::kCannotWrite;
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

std::int64_t NanosecondsSince1970() {
    return std::chrono::nanoseconds(std::chrono::system_clock::now().time_since_epoch()).count();
}

ProgressLine::Show WhereProgressIsShown(const ExactOptions& options) {
    return options.isQuiet         ? ProgressLine::Show::kNever
           : options.showsProgress ? ProgressLine::Show::kAlways
                                   : ProgressLine::Show::kWhereSeen;
}

std::int32_t RunJob(const ExactOptions& options, const EndingSignals& signals) {
    const ExactJob& job = options.job;
    velora::output::RunProgress progress;
    ProgressLine line(progress, WhereProgressIsShown(options));
    MessagePrinter printer(job, line, options.isQuiet);
    RunSetting setting{job, kVersion, options.words, options.homeDirectory, NanosecondsSince1970()};
    const auto start = std::chrono::steady_clock::now();
    OutputFile reportFile;
    RunReport report;
    try {
        line.Start();
        report =
            velora::exact::Run(job, printer, progress, job.report.empty() ? nullptr : &reportFile);
    } catch (const std::system_error& error) {
        line.PrintLine("seamtool: " + ShownOutput(job) +
                       ": not written: " + ShownText(error.what()));
        return Exit(Status::kCannotWrite);
    }
    setting.duration = std::chrono::nanoseconds(std::chrono::steady_clock::now() - start).count();
    // What the status says holds, whether or not all else can still be said.
    try {
        line.End();
        if (report.hasReaderLeft) {
            signals.EndByPipe();
        }
        printer.PrintAboutOutput();
        if (line.IsShown() &&
            (report.status == Status::kComplete || report.status == Status::kIncomplete)) {
            line.PrintLine(SummaryText(report, ShownOutput(job)));
        }
    } catch (const std::bad_alloc&) {
        PrintMemoryExhausted();
    }
    if (report.isUntold) {
        PrintMemoryExhausted();
    }
    const bool wantsReport = !job.report.empty() && report.hasBegun;
    return Exit(wantsReport ? WriteReport(reportFile, setting, report, printer) : report.status);
}

std::int32_t RunWords(std::span<char*> words, const EndingSignals& signals) {
    auto parsed = ParseExactOptions(words);
    if (const auto* const fault = std::get_if<std::string>(&parsed)) {
        return RefuseCommandLine(*fault);
    }
    auto& options = std::get<ExactOptions>(parsed);
    if (options.wish != ExactOptions::Wish::kRun) {
        const bool isHelp = options.wish == ExactOptions::Wish::kHelp;
        return Exit(Print(isHelp ? ExactHelp() : std::string(kVersion) + "\n", signals));
    }
    if (!options.homeDirectory.empty() && chdir(options.homeDirectory.c_str()) != 0) {
        PrintMessage(ShownText(options.homeDirectory) +
                     ": cannot be entered: " + MiscUtils::ErrnoText(errno).text);
        return Exit(Status::kWrongCommandLine);
    }
    if (const std::string fault = FaultOfTerminals(options.job); !fault.empty()) {
        return RefuseCommandLine(fault);
    }
    if (const std::string fault = FaultOfLists(options); !fault.empty()) {
        return RefuseCommandLine(fault);
    }
    if (const auto refusal = RefusalOfDescriptors(options.job)) {
        PrintMessage(refusal->text);
        return Exit(refusal->status);
    }
    return RunJob(options, signals);
}

}  // namespace

std::int32_t RunExactDriver(int argc, char** argv) {
    // Nothing has been written to the log yet, so closing removes it.
    VeloLogger::GlobalLogger.Close();
    const EndingSignals signals;
    try {
        return RunWords(std::span(argv, static_cast<std::size_t>(argc)).subspan(2), signals);
    } catch (const std::bad_alloc&) {
        PrintMemoryExhausted();
    } catch (const std::exception& error) {
        PrintMessage(ShownText(error.what()));
    }
    return Exit(Status::kCannotWrite);
}
