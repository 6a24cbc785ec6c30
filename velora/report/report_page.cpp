#include "velora/report/report_page.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

#include "velora/formats/link_types.h"
#include "velora/report/report_picture.h"
#include "velora/report/report_style.h"
#include "velora/report/report_text.h"
#include "velora/utils/plain_words.h"
#include "velora/utils/saturating.h"

namespace velora::report {
namespace {

using capture::Problem;
using capture::ProblemKind;
using utils::ByteCountText;

std::string OutputName(const exact::RunSetting& setting, const exact::RunReport& report) {
    const std::string& path = report.keptAs.empty() ? setting.job.output : report.keptAs;
    return path == "-" ? "standard output" : path;
}

std::string GroupedCountText(std::uint64_t count, const std::string& noun) {
    return GroupedText(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string Bytes(std::uint64_t count) {
    return ByteCountText(static_cast<double>(count));
}

std::uint64_t Sum(const exact::RunReport& report, std::uint64_t output::SourceCounts::*count) {
    std::uint64_t sum = 0;
    for (const exact::InputReport& input : report.inputs) {
        sum += input.tally.*count;
    }
    return sum;
}

// What the run did, in a few words: "merged from 5 inputs by time".
std::string WorkText(const exact::RunSetting& setting, const exact::RunReport& report) {
    const std::string inputs = GroupedCountText(report.inputs.size(), "input");
    if (!report.IsWritten()) {
        return std::string(NameOf(setting.job.mode)) + " of " + inputs;
    }
    switch (setting.job.mode) {
        case exact::Mode::kMerge:
            return "merged by time from " + inputs;
        case exact::Mode::kConcatenate:
            return inputs + ", one behind the other";
        case exact::Mode::kSquish:
            return "squished from " + inputs + ", all moved to a common start";
        case exact::Mode::kSquish10:
            return "squished from " + inputs + ", with ten copies of each local IPv4 packet";
    }
    return {};
}

// How a problem is marked: what is lost, or may be wrong; what is changed or out of place; a note.
const char* KindOf(const Problem& problem) {
    switch (problem.kind) {
        case ProblemKind::kCannotRead:
        case ProblemKind::kNoCapture:
        case ProblemKind::kDamage:
        case ProblemKind::kWrongChecksum:
        case ProblemKind::kChanged:
            return "bad";
        case ProblemKind::kLeftOut:
        case ProblemKind::kOutOfPlace:
        case ProblemKind::kTimeChanged:
        case ProblemKind::kMayRepeat:
            return "warn";
        case ProblemKind::kNote:
            break;
    }
    return "soft";
}

bool HasBad(const exact::InputReport& input) {
    return std::ranges::any_of(input.problems.Lines(), [](const Problem& problem) {
        return std::string_view(KindOf(problem)) == "bad";
    });
}

class Page {
 public:
    Page(const exact::RunSetting& setting, const exact::RunReport& report)
        : m_Setting(setting), m_Report(report) {}

    [[nodiscard]] std::string Html() {
        AddHead();
        AddSummary();
        AddProblems();
        m_Html += ReportPicture(m_Setting, m_Report);
        AddTable();
        AddRun();
        m_Html += "<footer>Made by seamtool " + HtmlOf(m_Setting.version) +
                  ". Sizes in powers of ten, times in UTC.</footer>\n</main>\n</body>\n</html>\n";
        return std::move(m_Html);
    }

 private:
    void AddHead() {
        const std::string name = HtmlOf(OutputName(m_Setting, m_Report));
        m_Html +=
            "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
            "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
            "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
            "style-src 'unsafe-inline'\">\n"
            "<meta name=\"color-scheme\" content=\"light dark\">\n<title>" +
            name + " \u2013 seamtool report</title>\n<style>" + kReportStyle +
            "</style>\n</head>\n<body>\n<main>\n<header>\n<p class=\"brand\">"
            "<svg width=\"22\" height=\"16\" aria-hidden=\"true\"><rect y=\"1\" width=\"13\" "
            "height=\"4\" rx=\"2\"/><rect x=\"5\" y=\"6\" width=\"17\" height=\"4\" rx=\"2\"/>"
            "<rect x=\"2\" y=\"11\" width=\"11\" height=\"4\" rx=\"2\"/></svg>"
            "<span><b>seamtool</b> report</span></p>\n<h1>" +
            name + "</h1>\n<p class=\"under\">" + HtmlOf(WorkText(m_Setting, m_Report)) + "</p>\n";
        AddVerdict();
        m_Html += "</header>\n";
    }

    void AddVerdict() {
        const exact::Status status = m_Report.status;
        std::string kind = "bad";
        std::string icon = "<circle cx=\"10\" cy=\"10\" r=\"9\"/><path d=\"M7 7l6 6M13 7l-6 6\"/>";
        std::string word = m_Report.IsWritten() ? "Written elsewhere" : "Not written";
        constexpr std::string_view kSame = "not written: ";
        std::string text = m_Report.outputText;
        text.erase(0, text.starts_with(kSame) ? kSame.size() : 0);
        if (status == exact::Status::kComplete) {
            kind = "good";
            icon = "<circle cx=\"10\" cy=\"10\" r=\"9\"/><path d=\"M6 10.5l3 3 5-6\"/>";
            word = "Complete";
            text = m_Setting.job.mode == exact::Mode::kMerge
                       ? "every record that was asked for is in the output, in time order"
                       : "every record that was asked for is in the output";
        } else if (status == exact::Status::kIncomplete) {
            kind = "warn";
            icon = "<path d=\"M10 2L1.5 17h17z\"/><path d=\"M10 8v4M10 14.5v.1\"/>";
            word = "Incomplete";
            text = "written, but something is missing, doubtful or out of place: it is named below";
        }
        m_Html += "<p class=\"verdict " + kind +
                  "\"><svg width=\"20\" height=\"20\" viewBox=\"0 0 20 20\" aria-hidden=\"true\">" +
                  icon + "</svg><span><b>" + word + "</b> \u2013 " + HtmlOf(text) +
                  " <small>(status " + std::to_string(static_cast<int>(status)) +
                  ")</small></span></p>\n";
    }

    void AddFact(const std::string& name, const std::string& value, const std::string& more) {
        m_Html += "<div><dt>" + name + "</dt><dd>" + HtmlOf(value) + "</dd><dd>" + HtmlOf(more) +
                  "</dd></div>\n";
    }

    void AddSummary() {
        const double seconds = std::max(1e-9, static_cast<double>(m_Setting.duration) / 1e9);
        std::uint64_t captures = 0;
        std::uint64_t bytesRead = 0;
        for (const exact::InputReport& input : m_Report.inputs) {
            captures += input.isCapture ? 1 : 0;
            bytesRead += input.bytesOnDisk;
        }
        const bool isWritten = m_Report.IsWritten();
        const std::uint64_t copies = Sum(m_Report, &output::SourceCounts::copies);
        m_Html += "<dl class=\"facts\">\n";
        AddFact(
            "Records written", GroupedText(isWritten ? m_Report.recordsWritten : 0),
            copies > 0
                ? GroupedText(copies) + " of them copies"
                : "of " + GroupedText(Sum(m_Report, &output::SourceCounts::recordsRead)) + " read");
        AddFact("Size", isWritten ? Bytes(m_Report.bytesWritten) : "\u2013",
                "from " + Bytes(bytesRead) + " on disk");
        if (isWritten && m_Report.earliest && m_Report.latest) {
            AddFact("Time span",
                    SpanText(static_cast<double>(
                        MiscUtils::SaturatingDifference(*m_Report.latest, *m_Report.earliest))),
                    "from " + utils::UtcText(*m_Report.earliest));
        } else {
            AddFact("Time span", "\u2013", "no records");
        }
        AddFact("Inputs", GroupedText(m_Report.inputs.size()),
                captures == m_Report.inputs.size()
                    ? "all read"
                    : GroupedText(m_Report.inputs.size() - captures) + " not read");
        AddFact("Duration", SpanText(static_cast<double>(m_Setting.duration)),
                isWritten ? GroupedText(static_cast<std::uint64_t>(
                                static_cast<double>(m_Report.recordsWritten) / seconds)) +
                                " records/s"
                          : "");
        m_Html += "</dl>\n";
    }

    void AddProblemsOf(std::size_t input) {
        const exact::ToldProblems& told = m_Report.inputs[input].problems;
        m_Html += "<li id=\"p" + std::to_string(input + 1) + "\"><b>" +
                  HtmlOf(NameOf(m_Setting.job.inputs[input])) + "</b>\n<ul>\n";
        for (const Problem& problem : told.Lines()) {
            m_Html += std::string("<li class=\"") + KindOf(problem) + "\">" + HtmlOf(problem.text) +
                      "</li>\n";
        }
        for (std::size_t kind = 0; kind < exact::ToldProblems::kKinds; ++kind) {
            const auto more = told.More(static_cast<ProblemKind>(kind));
            if (more > 0) {
                m_Html += "<li class=\"soft\">and " + GroupedText(more) + " more of the kind " +
                          exact::NameOf(static_cast<ProblemKind>(kind)) + "</li>\n";
            }
        }
        m_Html += "</ul></li>\n";
    }

    void AddProblems() {
        const bool hasDoubt = std::ranges::any_of(
            m_Report.inputs, [](const exact::InputReport& it) { return it.problems.Count() > 0; });
        const bool hasAny = std::ranges::any_of(m_Report.inputs, [](const exact::InputReport& it) {
            return !it.problems.Lines().empty();
        });
        if (!hasAny) {
            return;
        }
        m_Html += std::string("<section class=\"card\">\n<h2>") +
                  (hasDoubt ? "Missing or doubtful" : "Worth knowing") +
                  "</h2>\n<ul class=\"problems\">\n";
        for (std::size_t input = 0; input < m_Report.inputs.size(); ++input) {
            if (!m_Report.inputs[input].problems.Lines().empty()) {
                AddProblemsOf(input);
            }
        }
        m_Html += "</ul>\n</section>\n";
    }

    // Each cell bears its column's name, for narrow screens. `html` is no plain text.
    void AddCell(const char* label, const std::string& html, const char* kind = "") {
        m_Html += std::string("<td data-label=\"") + label + "\"" +
                  (*kind != '\0' ? std::string(" class=\"") + kind + "\"" : std::string()) + ">" +
                  html + "</td>";
    }

    static std::string Small(const std::string& text) {
        return text.empty() ? "" : "<small>" + HtmlOf(text) + "</small>";
    }

    void AddTimes(std::optional<std::int64_t> earliest, std::optional<std::int64_t> latest) {
        AddCell("First, last",
                earliest && latest ? "<span>" + ShortestUtcText(*earliest) + "<br>" +
                                         ShortestUtcText(*latest) + "</span>"
                                   : "\u2013",
                "left time");
    }

    static std::string KindText(capture::Format format, codec::Compression compression,
                                std::optional<std::uint32_t> linkType) {
        std::string text = NameOf(format);
        if (compression != codec::Compression::kNone) {
            text += std::string(" in ") + NameOf(compression);
        }
        return text + (linkType ? " \u00B7 link type " + LinkType::Shown(*linkType) : "");
    }

    void AddInputRow(std::size_t number) {
        const exact::InputReport& input = m_Report.inputs[number];
        const output::SourceCounts& tally = input.tally;
        m_Html += "<tr>";
        AddCell("Input",
                "<b>" + HtmlOf(NameOf(m_Setting.job.inputs[number])) + "</b>" +
                    Small(input.isCapture ? KindText(input.traits.format, input.traits.compression,
                                                     input.traits.linkType)
                                          : "not read"));
        AddCell("On disk", input.isRegular ? Bytes(input.bytesOnDisk) : "\u2013");
        AddCell("Read", input.isCapture ? GroupedText(tally.recordsRead) : "\u2013");
        AddCell("Written",
                "<span>" + (input.isCapture ? GroupedText(tally.recordsWritten) : "\u2013") +
                    Small(tally.copies > 0 ? "+ " + GroupedText(tally.copies) +
                                                 (tally.copies == 1 ? " copy" : " copies")
                                           : "") +
                    "</span>");
        AddCell(
            "Left out",
            "<span>" + (input.isCapture ? GroupedText(tally.recordsLeftOut) : "\u2013") +
                Small(tally.duplicates > 0 ? "+ " + GroupedCountText(tally.duplicates, "duplicate")
                                           : "") +
                "</span>");
        AddCell("Steps back", input.isCapture ? GroupedText(tally.stepsBack) : "\u2013");
        AddTimes(tally.earliest, tally.latest);
        const std::uint64_t problems = input.problems.Count();
        AddCell("Problems", problems == 0
                                ? "<span class=\"ok\">none</span>"
                                : std::string("<a class=\"") + (HasBad(input) ? "bad" : "warn") +
                                      "\" href=\"#p" + std::to_string(number + 1) + "\">" +
                                      GroupedText(problems) + "</a>");
        m_Html += "</tr>\n";
    }

    void AddTable() {
        m_Html +=
            "<section class=\"card\">\n<h2>Inputs and output</h2>\n<table>\n<thead><tr>"
            "<th>Path, format</th><th>On disk</th><th>Read</th><th>Written</th><th>Left out</th>"
            "<th>Steps back</th><th class=\"left\">First and last record, UTC</th>"
            "<th>Problems</th></tr></thead>\n<tbody>\n";
        for (std::size_t input = 0; input < m_Report.inputs.size(); ++input) {
            AddInputRow(input);
        }
        m_Html += "</tbody>\n<tfoot>\n";
        AddOutputRow();
        m_Html += "</tfoot>\n</table>\n</section>\n";
    }

    void AddOutputRow() {
        const bool isWritten = m_Report.IsWritten();
        const std::uint64_t duplicates = Sum(m_Report, &output::SourceCounts::duplicates);
        m_Html += "<tr>";
        AddCell("Output", "<b>" + HtmlOf(OutputName(m_Setting, m_Report)) + "</b>" +
                              Small(isWritten ? "output \u00B7 " + KindText(m_Report.format,
                                                                            m_Report.compression,
                                                                            m_Report.linkType)
                                              : "not written"));
        AddCell("On disk", isWritten ? Bytes(m_Report.bytesWritten) : "\u2013");
        AddCell("Read", GroupedText(Sum(m_Report, &output::SourceCounts::recordsRead)));
        AddCell("Written", isWritten ? GroupedText(m_Report.recordsWritten) : "\u2013");
        AddCell("Left out",
                "<span>" + GroupedText(Sum(m_Report, &output::SourceCounts::recordsLeftOut)) +
                    Small(duplicates > 0 ? "+ " + GroupedCountText(duplicates, "duplicate") : "") +
                    "</span>");
        AddCell("Steps back", isWritten ? GroupedText(m_Report.stepsBack) : "\u2013");
        AddTimes(isWritten ? m_Report.earliest : std::nullopt,
                 isWritten ? m_Report.latest : std::nullopt);
        std::uint64_t problems = m_Report.outputText.empty() ? 0 : 1;
        const bool isBad = problems > 0 || std::ranges::any_of(m_Report.inputs, HasBad);
        for (const exact::InputReport& input : m_Report.inputs) {
            problems += input.problems.Count();
        }
        AddCell("Problems", problems == 0
                                ? "<span class=\"ok\">none</span>"
                                : std::string("<span class=\"") + (isBad ? "bad" : "warn") + "\">" +
                                      GroupedText(problems) + "</span>");
        m_Html += "</tr>\n";
    }

    void AddRunItem(const char* name, const std::string& html) {
        m_Html += std::string("<dt>") + name + "</dt><dd>" + html + "</dd>\n";
    }

    void AddRun() {
        std::string options;
        for (const std::string& option : m_Setting.options) {
            options += "<code>" + HtmlOf(option) + "</code>";
        }
        m_Html += "<section class=\"card\">\n<h2>Run</h2>\n<dl class=\"run\">\n";
        AddRunItem("Mode", NameOf(m_Setting.job.mode));
        AddRunItem("Options", options.empty() ? "none" : options);
        if (!m_Setting.directory.empty()) {
            AddRunItem("Paths from", HtmlOf(m_Setting.directory));
        }
        AddRunItem("Started", utils::UtcText(m_Setting.start) + " UTC");
        AddRunItem("Duration", HtmlOf(SpanText(static_cast<double>(m_Setting.duration))));
        AddRunItem("Status", std::to_string(static_cast<int>(m_Report.status)) + ": " +
                                 exact::TextOf(m_Report.status));
        AddRunItem("Version", HtmlOf(m_Setting.version));
        m_Html += "</dl>\n</section>\n";
    }

    const exact::RunSetting& m_Setting;
    const exact::RunReport& m_Report;
    std::string m_Html;
};

}  // namespace

std::string ReportPage(const exact::RunSetting& setting, const exact::RunReport& report) {
    return Page(setting, report).Html();
}

}  // namespace velora::report
