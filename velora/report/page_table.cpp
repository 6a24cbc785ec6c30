#include "velora/report/page_table.h"

#include <algorithm>
#include <concepts>
#include <optional>
#include <string>

#include "velora/formats/link_types.h"
#include "velora/report/page_problems.h"
#include "velora/report/report_text.h"

namespace velora::report {
namespace {

using output::SourceCounts;

std::string FormatText(capture::Format format, codec::Compression compression,
                       std::optional<std::uint32_t> linkType) {
    std::string text = NameOf(format);
    if (compression != codec::Compression::kNone) {
        text += std::string(" in ") + NameOf(compression);
    }
    return text + (linkType ? " \u00B7 link type " + formats::link_type::Shown(*linkType) : "");
}

class Table {
 public:
    Table(Markup& html, const exact::RunSetting& setting, const exact::RunReport& report)
        : m_Html(html), m_Setting(setting), m_Report(report) {}

    void AddInput(std::size_t number) {
        const exact::InputReport& input = m_Report.inputs[number];
        const SourceCounts& counts = input.counts;
        const bool isKnown = input.isCapture;
        AddName("Input", NameText(m_Setting.job.inputs[number]),
                isKnown ? FormatText(input.traits.format, input.traits.compression,
                                     input.traits.linkType)
                        : "not read");
        AddCell("On disk", input.isRegular ? SizeText(input.bytesOnDisk) : kNothing);
        AddCell("Read", CountOr(isKnown, counts.recordsRead));
        AddCell("Written", CountOr(isKnown, counts.recordsWritten),
                [&] { AddMore(counts.copies, counts.copies == 1 ? "copy" : "copies"); });
        AddLeftOut(CountOr(isKnown, counts.recordsLeftOut), counts.duplicates,
                   counts.recordsOutside);
        AddCell("Steps back", CountOr(isKnown, counts.stepsBack));
        AddTimes(counts.earliest, counts.latest);
        const std::size_t problems = input.problems.CountWithoutNotes();
        AddProblemCount(problems, [&] {
            m_Html.AddLink(ProblemsId(number),
                           {{"class", HasLoss(input.problems) ? "bad" : "warn"}},
                           GroupedText(problems));
        });
    }

    void AddOutput() {
        const bool isWritten = m_Report.IsWritten();
        AddName("Output", OutputNameText(m_Setting, m_Report),
                isWritten ? "output \u00B7 " +
                                FormatText(m_Report.format, m_Report.compression, m_Report.linkType)
                          : "not written");
        AddCell("On disk", isWritten ? SizeText(m_Report.bytesWritten) : kNothing);
        AddCell("Read", GroupedText(m_Report.Sum(&SourceCounts::recordsRead)));
        AddCell("Written", CountOr(isWritten, m_Report.recordsWritten));
        AddLeftOut(GroupedText(m_Report.Sum(&SourceCounts::recordsLeftOut)),
                   m_Report.Sum(&SourceCounts::duplicates),
                   m_Report.Sum(&SourceCounts::recordsOutside));
        AddCell("Steps back", CountOr(isWritten, m_Report.stepsBack));
        AddTimes(isWritten ? m_Report.earliest : std::nullopt,
                 isWritten ? m_Report.latest : std::nullopt);
        std::size_t problems = m_Report.outputText.empty() ? 0 : 1;
        bool isLoss = problems > 0;
        for (const exact::InputReport& input : m_Report.inputs) {
            problems += input.problems.CountWithoutNotes();
            isLoss |= HasLoss(input.problems);
        }
        AddProblemCount(problems, [&] {
            m_Html.Add("span", {{"class", isLoss ? "bad" : "warn"}}, GroupedText(problems));
        });
    }

 private:
    static std::string CountOr(bool isKnown, std::uint64_t count) {
        return isKnown ? GroupedText(count) : kNothing;
    }

    // Each cell bears its column's name, for narrow screens.
    void AddCell(const Literal& label, const std::string& text) {
        m_Html.Add("td", {{"data-label", std::string(label.Text())}}, text);
    }

    // With smaller lines below.
    void AddCell(const Literal& label, const std::string& text,
                 const std::invocable auto& addLines) {
        m_Html.Add("td", {{"data-label", std::string(label.Text())}}, [&] {
            m_Html.Add("span", [&] {
                m_Html.AddText(text);
                addLines();
            });
        });
    }

    void AddMore(std::uint64_t count, const std::string& what) {
        if (count > 0) {
            m_Html.Add("small", "+ " + GroupedText(count) + " " + what);
        }
    }

    void AddName(const Literal& label, const std::string& name, const std::string& what) {
        m_Html.Add("td", {{"data-label", std::string(label.Text())}}, [&] {
            m_Html.Add("b", name);
            m_Html.Add("small", what);
        });
    }

    void AddLeftOut(const std::string& leftOut, std::uint64_t duplicates, std::uint64_t outside) {
        AddCell("Left out", leftOut, [&] {
            AddMore(duplicates, duplicates == 1 ? "duplicate" : "duplicates");
            AddMore(outside, "by time");
        });
    }

    void AddTimes(std::optional<std::int64_t> earliest, std::optional<std::int64_t> latest) {
        m_Html.Add("td", {{"data-label", "First, last"}, {"class", "left time"}}, [&] {
            if (!earliest || !latest) {
                m_Html.AddText(kNothing);
                return;
            }
            m_Html.Add("span", [&] {
                m_Html.AddText(ShortestUtcText(*earliest));
                m_Html.AddEmpty("br");
                m_Html.AddText(ShortestUtcText(*latest));
            });
        });
    }

    void AddProblemCount(std::size_t count, const std::invocable auto& addCount) {
        m_Html.Add("td", {{"data-label", "Problems"}}, [&] {
            if (count == 0) {
                m_Html.Add("span", {{"class", "ok"}}, "none");
            } else {
                addCount();
            }
        });
    }

    Markup& m_Html;
    const exact::RunSetting& m_Setting;
    const exact::RunReport& m_Report;
};

}  // namespace

void AddTable(Markup& html, const exact::RunSetting& setting, const exact::RunReport& report) {
    Table table(html, setting, report);
    html.Add("section", {{"class", "card"}}, [&] {
        html.Add("h2", "Inputs and output");
        html.Add("table", [&] {
            html.AddLiteral(
                "<thead><tr><th>Path, format</th><th>On disk</th><th>Read</th><th>Written</th>"
                "<th>Left out</th><th>Steps back</th>"
                "<th class=\"left\">First and last record, UTC</th><th>Problems</th></tr></thead>");
            html.Add("tbody", [&] {
                for (std::size_t input = 0; input < report.inputs.size(); ++input) {
                    html.Add("tr", [&] { table.AddInput(input); });
                }
            });
            html.Add("tfoot", [&] { html.Add("tr", [&] { table.AddOutput(); }); });
        });
    });
}

}  // namespace velora::report
