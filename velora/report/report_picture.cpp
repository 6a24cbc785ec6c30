#include "velora/report/report_picture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <utility>

#include "velora/report/report_text.h"
#include "velora/report/time_axis.h"
#include "velora/utils/plain_words.h"
#include "velora/utils/saturating.h"

namespace velora::report {
namespace {

using capture::ProblemKind;
using utils::CountText;

// The axis is cut into cells, and each has a shade by the number of records in it.
constexpr std::size_t kCells = 240;
constexpr int kShades = 6;
constexpr std::size_t kMostTicks = 6;
// A stretch without records is told in words where it takes so many cells.
constexpr std::size_t kToldGap = 36;

using Cells = std::array<double, kCells>;

// Coordinates in percent, as short as they can be.
std::string Percent(double place) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.4g%%", std::clamp(place, 0.0, 1.0) * 100);
    return text.data();
}

std::size_t CellOf(double place) {
    const double cell = std::floor(std::clamp(place, 0.0, 1.0) * static_cast<double>(kCells));
    return std::min(static_cast<std::size_t>(cell), kCells - 1);
}

Cells CellsOf(const utils::TimeHistogram& histogram, const TimeAxis& axis) {
    Cells cells{};
    const auto width = static_cast<std::int64_t>(histogram.Width());
    for (std::size_t bucket = 0; bucket < utils::TimeHistogram::kBuckets; ++bucket) {
        if (histogram.Count(bucket) == 0) {
            continue;
        }
        // Of the outer buckets only what lies between the first and the last record.
        const std::int64_t start = histogram.Start(bucket);
        const double from = axis.Place(std::max(start, histogram.Earliest()));
        const double to =
            axis.Place(std::min(MiscUtils::SaturatingSum(start, width), histogram.Latest()));
        const std::size_t first = CellOf(from);
        const std::size_t last = CellOf(to);
        for (std::size_t cell = first; cell <= last; ++cell) {
            const double left = std::max(from, static_cast<double>(cell) / kCells);
            const double right = std::min(to, static_cast<double>(cell + 1) / kCells);
            const double share = first == last ? 1.0 : (right - left) / (to - from);
            cells[cell] += share * static_cast<double>(histogram.Count(bucket));
        }
    }
    return cells;
}

// One bar of the picture.
struct Row {
    std::string nameHtml;
    std::string title;  // plain; escaped where it is used
    std::uint64_t count = 0;
    bool isOutput = false;
    bool isCapture = false;
    std::int64_t earliest = 0;  // of its records, when there are any
    std::int64_t latest = 0;
    Cells cells{};
    const exact::ToldProblems* problems = nullptr;
};

// The directory can give way where room is short, the name of the file cannot.
std::string NameHtml(const exact::InputName& name) {
    if (name.isStandardInput) {
        return "<span class=\"base\">standard input</span>";
    }
    const std::size_t at = name.path.rfind('/') + 1;
    return (at > 0 ? "<span class=\"dir\">" + HtmlOf(name.path.substr(0, at)) + "</span>" : "") +
           "<span class=\"base\">" + HtmlOf(name.path.substr(at)) + "</span>";
}

class Panel {
 public:
    Panel(const exact::RunSetting& setting, const exact::RunReport& report,
          utils::TimeHistogram output::Timeline::*histogram)
        : m_Axis(AxisOf(report, histogram)) {
        const std::size_t shown = std::min(report.inputs.size(), exact::RunReport::kMostTimelines);
        Row sum;
        for (std::size_t input = 0; input < shown; ++input) {
            AddInput(setting.job.inputs[input], report.inputs[input], histogram);
            const Row& row = m_Rows.back();
            if (row.count > 0) {
                sum.earliest = sum.count == 0 ? row.earliest : std::min(sum.earliest, row.earliest);
                sum.latest = sum.count == 0 ? row.latest : std::max(sum.latest, row.latest);
            }
            sum.count += row.count;
            std::ranges::transform(sum.cells, row.cells, sum.cells.begin(), std::plus());
        }
        const bool isAsWritten = histogram == &output::Timeline::written;
        const bool hasMoved = exact::IsSquish(setting.job.mode);
        if (shown == report.inputs.size() && shown > 1 && report.IsWritten() &&
            isAsWritten == hasMoved) {
            sum.nameHtml = "<span class=\"base\">Output</span>";
            sum.title = "Output";
            sum.isOutput = sum.isCapture = true;
            m_Rows.push_back(std::move(sum));
        }
        for (const Row& row : m_Rows) {
            m_Most = std::max(m_Most, *std::ranges::max_element(row.cells));
        }
    }

    // Whether there is anything to show.
    static bool HasRecords(const exact::RunReport& report) {
        return std::ranges::any_of(report.inputs, [](const exact::InputReport& input) {
            return input.tally.timeline != nullptr && input.tally.timeline->captured.Total() > 0;
        });
    }

    [[nodiscard]] std::string Html() {
        std::string html = "<ol class=\"rows\">\n";
        for (const Row& row : m_Rows) {
            AddRow(html, row);
        }
        html += "</ol>\n";
        AddAxis(html);
        return html;
    }

    [[nodiscard]] std::string LegendHtml() const {
        std::string html = "<ul class=\"legend\">\n<li><span class=\"scale\">1";
        for (int shade = 1; shade <= kShades; ++shade) {
            html += "<i class=\"k" + std::to_string(shade) + "\"></i>";
        }
        const auto most = static_cast<std::uint64_t>(std::max(1.0, std::round(m_Most)));
        html += GroupedText(most) + " records in " + HtmlOf(SpanText(m_Axis.Span() / kCells)) +
                "</span></li>\n";
        if (m_HasGap) {
            html +=
                "<li><svg class=\"key\" width=\"22\" height=\"12\" aria-hidden=\"true\">"
                "<path class=\"line\" d=\"M0 6h22\"/></svg> no records</li>\n";
        }
        if (m_HasDamage) {
            html += "<li>" + Key(kCross, "bad") + " damaged here, or its checksum is wrong</li>\n";
        }
        if (m_HasDoubt) {
            html += "<li>" + Key(kTriangle, "warn") +
                    " something else is missing or doubtful: see above</li>\n";
        }
        return html + "</ul>\n";
    }

 private:
    static constexpr const char* kCross = "M-4.5 -4.5L4.5 4.5M4.5 -4.5L-4.5 4.5";
    static constexpr const char* kTriangle = "M0 -5.5L6 5H-6z";

    static TimeAxis AxisOf(const exact::RunReport& report,
                           utils::TimeHistogram output::Timeline::*histogram) {
        bool isFirst = true;
        std::int64_t from = 0;
        std::int64_t to = 0;
        for (const exact::InputReport& input : report.inputs) {
            if (input.tally.timeline == nullptr) {
                continue;
            }
            const utils::TimeHistogram& times = (*input.tally.timeline).*histogram;
            if (times.Total() > 0) {
                from = isFirst ? times.Earliest() : std::min(from, times.Earliest());
                to = isFirst ? times.Latest() : std::max(to, times.Latest());
                isFirst = false;
            }
        }
        return {from, to};
    }

    void AddInput(const exact::InputName& name, const exact::InputReport& input,
                  utils::TimeHistogram output::Timeline::*histogram) {
        Row row;
        row.nameHtml = NameHtml(name);
        row.title = NameOf(name);
        row.problems = &input.problems;
        row.isCapture = input.isCapture;
        if (input.tally.timeline != nullptr) {
            const utils::TimeHistogram& times = (*input.tally.timeline).*histogram;
            row.count = times.Total();
            row.earliest = times.Earliest();
            row.latest = times.Latest();
            row.cells = CellsOf(times, m_Axis);
        }
        m_Rows.push_back(std::move(row));
    }

    [[nodiscard]] int ShadeOf(double count) const {
        if (count <= 0) {
            return 0;
        }
        const double share = std::log1p(count) / std::log1p(std::max(1.0, m_Most));
        return std::clamp(static_cast<int>(std::ceil(kShades * share)), 1, kShades);
    }

    void AddRow(std::string& html, const Row& row) {
        const std::string title = HtmlOf(row.title);
        html += std::string("<li class=\"row") + (row.isOutput ? " output" : "") +
                "\"><span class=\"name\" title=\"" + title + "\">" + row.nameHtml +
                "</span><span class=\"count\">" + (row.isCapture ? GroupedText(row.count) : "–") +
                "</span><svg class=\"bar\" role=\"img\" aria-label=\"" + title + ": " +
                HtmlOf(CountText(row.count, "record"));
        if (row.count > 0) {
            html += ", " + ShortestUtcText(row.earliest) + " to " + ShortestUtcText(row.latest) +
                    " UTC";
        }
        html += "\">";
        for (const TimeAxis::Tick& tick : m_Axis.Ticks(kMostTicks)) {
            html += "<line class=\"grid\" x1=\"" + Percent(tick.place) + "\" x2=\"" +
                    Percent(tick.place) + "\" y2=\"100%\"/>";
        }
        if (row.count > 0) {
            AddBar(html, row);
        } else {
            html += std::string("<text class=\"") + (row.isCapture ? "mute" : "gone") +
                    "\" y=\"50%\" dy=\".35em\">" + (row.isCapture ? "no records" : "not read") +
                    "</text>";
        }
        AddMark(html, row);
        html += "</svg></li>\n";
    }

    // The cells of one shade are one path; where there are none, a thin line shows through.
    void AddBar(std::string& html, const Row& row) {
        const std::size_t first = CellOf(m_Axis.Place(row.earliest));
        const std::size_t last = CellOf(m_Axis.Place(row.latest));
        std::array<std::string, kShades + 1> paths;
        std::vector<std::pair<std::size_t, std::size_t>> gaps;
        for (std::size_t cell = first; cell <= last;) {
            const int shade = ShadeOf(row.cells[cell]);
            std::size_t end = cell;
            while (end <= last && ShadeOf(row.cells[end]) == shade) {
                ++end;
            }
            if (shade > 0) {
                const std::string width = std::to_string(end - cell);
                paths[static_cast<std::size_t>(shade)]
                    .append("M" + std::to_string(cell))
                    .append(" 0h" + width)
                    .append("v1h-" + width + "z");
            } else {
                m_HasGap = true;
                if (end - cell >= kToldGap) {
                    gaps.emplace_back(cell, end);
                }
            }
            cell = end;
        }
        const auto place = [](std::size_t cell) { return static_cast<double>(cell) / kCells; };
        html += "<line class=\"line\" x1=\"" + Percent(place(first)) + "\" x2=\"" +
                Percent(place(last + 1)) + "\" y1=\"50%\" y2=\"50%\"/>";
        html +=
            "<svg y=\"20%\" width=\"100%\" height=\"60%\" viewBox=\"0 0 240 1\" "
            "preserveAspectRatio=\"none\" shape-rendering=\"crispEdges\">";
        static_assert(kCells == 240);
        for (std::size_t shade = 1; shade < paths.size(); ++shade) {
            if (!paths[shade].empty()) {
                html +=
                    "<path class=\"s" + std::to_string(shade) + "\" d=\"" + paths[shade] + "\"/>";
            }
        }
        html += "</svg>";
        for (const auto& [begin, end] : gaps) {
            html += "<text class=\"gap\" x=\"" + Percent((place(begin) + place(end)) / 2) +
                    "\" y=\"50%\" dy=\".35em\">" +
                    HtmlOf(SpanText(m_Axis.Span() * static_cast<double>(end - begin) / kCells)) +
                    "</text>";
        }
    }

    void AddMark(std::string& html, const Row& row) {
        if (row.problems == nullptr || row.problems->Count() == 0 || row.count == 0) {
            return;
        }
        bool isDamage = false;
        std::string title;
        for (const capture::Problem& problem : row.problems->Lines()) {
            isDamage |= problem.kind == ProblemKind::kDamage ||
                        problem.kind == ProblemKind::kWrongChecksum ||
                        problem.kind == ProblemKind::kCannotRead;
            if (problem.kind != ProblemKind::kNote) {
                title += (title.empty() ? "" : "\n") + problem.text;
            }
        }
        m_HasDamage |= isDamage;
        m_HasDoubt |= !isDamage;
        const double end = static_cast<double>(CellOf(m_Axis.Place(row.latest)) + 1) / kCells;
        html += "<svg class=\"mark\" x=\"" + Percent(end) + "\" y=\"50%\"><path class=\"" +
                (isDamage ? "halo\" d=\"" : "halo full\" d=\"") + (isDamage ? kCross : kTriangle) +
                "\"/><path class=\"" + (isDamage ? "bad\" d=\"" : "warn\" d=\"") +
                (isDamage ? kCross : kTriangle) + "\"><title>" + HtmlOf(title) +
                "</title></path></svg>";
    }

    static std::string Key(const char* path, const char* kind) {
        return std::string(
                   "<svg class=\"key\" width=\"14\" height=\"14\" viewBox=\"-7 -7 14 14\" "
                   "aria-hidden=\"true\"><path class=\"") +
               kind + "\" d=\"" + path + "\"/></svg>";
    }

    void AddAxis(std::string& html) const {
        html += "<div class=\"row axis\" aria-hidden=\"true\"><svg class=\"bar\">";
        std::size_t number = 0;
        for (const TimeAxis::Tick& tick : m_Axis.Ticks(kMostTicks)) {
            const char* const anchor = tick.place < 0.015   ? "start"
                                       : tick.place > 0.985 ? "end"
                                                            : "middle";
            const std::string place = Percent(tick.place);
            html += number++ % 2 == 1 ? "<g class=\"second\">" : "<g>";
            html.append("<line class=\"tick\" x1=\"" + place);
            html.append("\" x2=\"" + place);
            html.append("\" y2=\"5\"/><text y=\"18\" x=\"" + place);
            html.append("\" text-anchor=\"").append(anchor);
            html.append("\">" + HtmlOf(tick.label) + "</text></g>");
        }
        // As exact as it matters for a span of that length.
        const int digits = m_Axis.Span() >= 1e13   ? 0
                           : m_Axis.Span() >= 1e10 ? 3
                           : m_Axis.Span() >= 1e7  ? 6
                                                   : 9;
        html += "<text class=\"end\" y=\"38\">" + utils::UtcText(m_Axis.From(), digits) +
                "</text><text class=\"end to\" y=\"38\" x=\"100%\" text-anchor=\"end\">" +
                utils::UtcText(m_Axis.To(), digits) + "</text></svg></div>\n";
    }

    TimeAxis m_Axis;
    std::vector<Row> m_Rows;
    double m_Most = 0;  // records in a cell
    bool m_HasGap = false;
    bool m_HasDamage = false;
    bool m_HasDoubt = false;
};

std::string FigureHtml(const exact::RunSetting& setting, const exact::RunReport& report,
                       utils::TimeHistogram output::Timeline::*histogram,
                       const std::string& caption) {
    Panel panel(setting, report, histogram);
    const std::string bars = panel.Html();
    return "<figure>\n<figcaption>" + caption + "</figcaption>\n" + bars + panel.LegendHtml() +
           "</figure>\n";
}

}  // namespace

std::string ReportPicture(const exact::RunSetting& setting, const exact::RunReport& report) {
    if (!Panel::HasRecords(report)) {
        return {};
    }
    const bool isSquish = exact::IsSquish(setting.job.mode);
    std::string html = "<section class=\"card\">\n<h2>Records in time <small>UTC</small></h2>\n";
    if (isSquish) {
        html += FigureHtml(setting, report, &output::Timeline::captured, "Before: as captured");
        html +=
            FigureHtml(setting, report, &output::Timeline::written,
                       setting.job.mode == exact::Mode::kSquish10
                           ? "After: as written, moved to a common start; copies are not counted"
                           : "After: as written, moved to a common start");
    } else {
        html += FigureHtml(setting, report, &output::Timeline::captured,
                           "Each input, on one axis of time");
    }
    if (report.inputs.size() > exact::RunReport::kMostTimelines) {
        html += "<p class=\"note\">The first " + std::to_string(exact::RunReport::kMostTimelines) +
                " of " + GroupedText(report.inputs.size()) + " inputs are shown; " +
                GroupedText(report.inputs.size() - exact::RunReport::kMostTimelines) +
                " are left out.</p>\n";
    }
    return html + "</section>\n";
}

}  // namespace velora::report
