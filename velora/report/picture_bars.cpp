#include "velora/report/picture_bars.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "velora/report/page_problems.h"
#include "velora/report/report_text.h"
#include "velora/utils/plain_words.h"

namespace velora::report {
namespace {

using Bar = TimeBars::Bar;
using Stretch = TimeBars::Stretch;

// A stretch without records is told in words where it takes so many cells.
constexpr std::size_t kToldGap = 36;

// Where a cell begins.
std::string CellText(double cell) {
    return PercentText(cell / TimeBars::kCells);
}

class BarRows {
 public:
    BarRows(Markup& html, const TimeBars& bars, const std::vector<TimeAxis::Tick>& ticks)
        : m_Html(html), m_Bars(bars), m_Ticks(ticks) {}

    void AddRow(const Bar& bar);
    [[nodiscard]] const Drawn& GetDrawn() const { return m_Drawn; }

 private:
    void AddStretches(const Bar& bar);
    void AddMark(const Bar& bar);

    Markup& m_Html;
    const TimeBars& m_Bars;
    const std::vector<TimeAxis::Tick>& m_Ticks;
    Drawn m_Drawn;
};

void BarRows::AddRow(const Bar& bar) {
    // The directory can give way where room is short, the name of the file cannot.
    const std::size_t base = bar.name.rfind('/') + 1;
    std::string label = bar.name + ": " + utils::CountText(bar.count, "record");
    if (bar.count > 0) {
        label +=
            ", " + ShortestUtcText(bar.earliest) + " to " + ShortestUtcText(bar.latest) + " UTC";
    }
    m_Html.Add("li", {{"class", bar.isOutput ? "row output" : "row"}}, [&] {
        m_Html.Add("span", {{"class", "name"}, {"title", bar.name}}, [&] {
            if (base > 0) {
                m_Html.Add("span", {{"class", "dir"}}, bar.name.substr(0, base));
            }
            m_Html.Add("span", {{"class", "base"}}, bar.name.substr(base));
        });
        m_Html.Add("span", {{"class", "count"}}, bar.isCapture ? GroupedText(bar.count) : kNothing);
        m_Html.Add("svg", {{"class", "bar"}, {"role", "img"}, {"aria-label", label}}, [&] {
            for (const TimeAxis::Tick& tick : m_Ticks) {
                const std::string x = PercentText(tick.place);
                m_Html.AddEmpty("line", {{"class", "grid"}, {"x1", x}, {"x2", x}, {"y2", "100%"}});
            }
            if (bar.count > 0) {
                AddStretches(bar);
                AddMark(bar);
            } else {
                m_Html.Add(
                    "text",
                    {{"class", bar.isCapture ? "mute" : "gone"}, {"y", "50%"}, {"dy", ".35em"}},
                    bar.isCapture ? "no records" : "not read");
            }
        });
    });
}

// The stretches of one shade are one path; where there are none, a thin line shows through.
void BarRows::AddStretches(const Bar& bar) {
    const std::vector<Stretch> stretches = m_Bars.Stretches(bar);
    std::array<std::string, TimeBars::kShades + 1> paths;
    for (const Stretch& stretch : stretches) {
        const std::string width = std::to_string(stretch.end - stretch.begin);
        paths[static_cast<std::size_t>(stretch.shade)]
            .append("M" + std::to_string(stretch.begin))
            .append(" 0h" + width)
            .append("v1h-" + width + "z");
    }
    m_Drawn.hasGap |= !paths[0].empty();
    m_Html.AddEmpty("line", {{"class", "line"},
                             {"x1", CellText(static_cast<double>(stretches.front().begin))},
                             {"x2", CellText(static_cast<double>(stretches.back().end))},
                             {"y1", "50%"},
                             {"y2", "50%"}});
    m_Html.Add("svg",
               {{"y", "20%"},
                {"width", "100%"},
                {"height", "60%"},
                {"viewBox", "0 0 " + std::to_string(TimeBars::kCells) + " 1"},
                {"preserveAspectRatio", "none"},
                {"shape-rendering", "crispEdges"}},
               [&] {
                   for (std::size_t shade = 1; shade < paths.size(); ++shade) {
                       if (!paths[shade].empty()) {
                           m_Html.AddEmpty("path", {{"class", "s" + std::to_string(shade)},
                                                    {"d", paths[shade]}});
                       }
                   }
               });
    for (const Stretch& stretch : stretches) {
        const auto cells = static_cast<double>(stretch.end - stretch.begin);
        if (stretch.shade == 0 && stretch.end - stretch.begin >= kToldGap) {
            m_Html.Add("text",
                       {{"class", "gap"},
                        {"x", CellText(static_cast<double>(stretch.begin) + cells / 2)},
                        {"y", "50%"},
                        {"dy", ".35em"}},
                       SpanText(m_Bars.Axis().Span() * cells / TimeBars::kCells));
        }
    }
}

// Behind the last record: what is wrong with the input.
void BarRows::AddMark(const Bar& bar) {
    if (bar.problems == nullptr || bar.problems->CountWithoutNotes() == 0) {
        return;
    }
    const bool isLoss = HasLoss(*bar.problems);
    (isLoss ? m_Drawn.hasLossMark : m_Drawn.hasDoubtMark) = true;
    const Mark& mark = isLoss ? kLossMark : kDoubtMark;
    const std::string x = CellText(static_cast<double>(m_Bars.CellOf(bar.latest) + 1));
    m_Html.Add("svg", {{"class", "mark"}, {"x", x}, {"y", "50%"}}, [&] {
        m_Html.AddEmpty("path", {{"class", mark.halo}, {"d", mark.path}});
        m_Html.Add("path", {{"class", mark.style}, {"d", mark.path}}, [&] {
            m_Html.Add("title", [&] {
                for (const capture::Problem& problem : bar.problems->All()) {
                    if (problem.kind != capture::ProblemKind::kNote) {
                        m_Html.AddText(problem.text);
                        m_Html.AddLiteral("\n");
                    }
                }
            });
        });
    });
}

}  // namespace

std::string PercentText(double place) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.4g%%", std::clamp(place, 0.0, 1.0) * 100);
    return text.data();
}

Drawn AddBars(Markup& html, const TimeBars& bars, const std::vector<TimeAxis::Tick>& ticks) {
    BarRows rows(html, bars, ticks);
    html.Add("ol", {{"class", "rows"}}, [&] {
        for (const Bar& bar : bars.Bars()) {
            rows.AddRow(bar);
        }
    });
    return rows.GetDrawn();
}

}  // namespace velora::report
