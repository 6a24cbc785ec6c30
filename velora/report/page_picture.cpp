#include "velora/report/page_picture.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <string_view>
#include <vector>

#include "velora/report/picture_bars.h"
#include "velora/report/report_text.h"
#include "velora/report/time_bars.h"
#include "velora/utils/plain_words.h"

namespace velora::report {
namespace {

constexpr std::size_t kMostTicks = 6;

void AddAxis(Markup& html, const TimeAxis& axis, const std::vector<TimeAxis::Tick>& ticks) {
    // As exact as it matters for a span of that length.
    const int digits = axis.Span() >= 1e13   ? 0
                       : axis.Span() >= 1e10 ? 3
                       : axis.Span() >= 1e7  ? 6
                                             : 9;
    html.Add("div", {{"class", "row axis"}, {"aria-hidden", "true"}}, [&] {
        html.Add("svg", {{"class", "bar"}}, [&] {
            for (std::size_t number = 0; number < ticks.size(); ++number) {
                const TimeAxis::Tick& tick = ticks[number];
                const std::string x = PercentText(tick.place);
                const char* const anchor = tick.place < 0.015   ? "start"
                                           : tick.place > 0.985 ? "end"
                                                                : "middle";
                html.Add("g", {{"class", number % 2 == 1 ? "second" : ""}}, [&] {
                    html.AddEmpty("line", {{"class", "tick"}, {"x1", x}, {"x2", x}, {"y2", "5"}});
                    html.Add("text", {{"y", "18"}, {"x", x}, {"text-anchor", anchor}}, tick.label);
                });
            }
            html.Add("text", {{"class", "end"}, {"y", "38"}}, utils::UtcText(axis.From(), digits));
            html.Add("text",
                     {{"class", "end to"}, {"y", "38"}, {"x", "100%"}, {"text-anchor", "end"}},
                     utils::UtcText(axis.To(), digits));
        });
    });
}

void AddKey(Markup& html, const Mark& mark, std::string_view meaning) {
    html.Add("li", [&] {
        html.Add("svg",
                 {{"class", "key"},
                  {"width", "14"},
                  {"height", "14"},
                  {"viewBox", "-7 -7 14 14"},
                  {"aria-hidden", "true"}},
                 [&] {
                     html.AddEmpty("path", {{"class", mark.style}, {"d", mark.path}});
                 });
        html.AddText(meaning);
    });
}

void AddLegend(Markup& html, const TimeBars& bars, const Drawn& drawn) {
    const auto most = static_cast<std::uint64_t>(std::max(1.0, std::round(bars.MostInACell())));
    html.Add("ul", {{"class", "legend"}}, [&] {
        html.Add("li", [&] {
            html.Add("span", {{"class", "scale"}}, [&] {
                html.AddText("1");
                for (int shade = 1; shade <= TimeBars::kShades; ++shade) {
                    html.Add("i", {{"class", "k" + std::to_string(shade)}}, "");
                }
                html.AddText(GroupedText(most) + " records in " +
                             SpanText(bars.Axis().Span() / TimeBars::kCells));
            });
        });
        if (drawn.hasGap) {
            html.AddLiteral(R"(<li><svg class="key" width="22" height="12" aria-hidden="true">)"
                            R"(<path class="line" d="M0 6h22"/></svg> no records</li>)");
        }
        if (drawn.hasLossMark) {
            AddKey(html, kLossMark, "damaged here, or its checksum is wrong");
        }
        if (drawn.hasDoubtMark) {
            AddKey(html, kDoubtMark, "something else is missing or doubtful: see above");
        }
    });
}

void AddFigure(Markup& html, const TimeBars& bars, const Literal& caption) {
    const std::vector<TimeAxis::Tick> ticks = bars.Axis().Ticks(kMostTicks);
    html.Add("figure", [&] {
        html.Add("figcaption", caption.Text());
        const Drawn drawn = AddBars(html, bars, ticks);
        AddAxis(html, bars.Axis(), ticks);
        AddLegend(html, bars, drawn);
    });
}

bool HasRecords(const exact::RunReport& report) {
    return std::ranges::any_of(report.inputs, [](const exact::InputReport& input) {
        return input.counts.timeline != nullptr && input.counts.timeline->captured.Total() > 0;
    });
}

}  // namespace

void AddPicture(Markup& html, const exact::RunSetting& setting, const exact::RunReport& report) {
    if (!HasRecords(report)) {
        return;
    }
    const auto addFigure = [&](TimeBars::Times times, const Literal& caption) {
        AddFigure(html, TimeBars(setting, report, times), caption);
    };
    constexpr Literal kMoved = "After: as written, moved to a common start";
    constexpr Literal kCopied =
        "After: as written, moved to a common start; copies are not counted";
    html.Add("section", {{"class", "card"}}, [&] {
        html.AddLiteral("<h2>Records in time <small>UTC</small></h2>\n");
        if (exact::IsSquish(setting.job.mode)) {
            addFigure(&output::Timeline::captured, "Before: as captured");
            addFigure(&output::Timeline::written,
                      setting.job.mode == exact::Mode::kSquish10 ? kCopied : kMoved);
        } else {
            addFigure(&output::Timeline::captured, "Each input, on one axis of time");
        }
        constexpr std::size_t kMost = exact::RunReport::kMostTimelines;
        if (report.inputs.size() > kMost) {
            html.Add("p", {{"class", "note"}},
                     "The first " + std::to_string(kMost) + " of " +
                         GroupedText(report.inputs.size()) + " inputs are shown; " +
                         GroupedText(report.inputs.size() - kMost) + " are left out.");
        }
    });
}

}  // namespace velora::report
