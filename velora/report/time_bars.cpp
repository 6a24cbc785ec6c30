#include "velora/report/time_bars.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

#include "velora/report/report_text.h"
#include "velora/utils/saturating.h"

namespace velora::report {
namespace {

TimeAxis AxisOf(const exact::RunReport& report, TimeBars::Times times) {
    bool isFirst = true;
    std::int64_t from = 0;
    std::int64_t to = 0;
    for (const exact::InputReport& input : report.inputs) {
        if (input.counts.timeline == nullptr) {
            continue;
        }
        const utils::TimeHistogram& histogram = (*input.counts.timeline).*times;
        if (histogram.Total() > 0) {
            from = isFirst ? histogram.Earliest() : std::min(from, histogram.Earliest());
            to = isFirst ? histogram.Latest() : std::max(to, histogram.Latest());
            isFirst = false;
        }
    }
    return {from, to};
}

// The cell that a place from 0 to 1 lies in.
std::size_t CellAt(double place) {
    const double cell = std::floor(std::clamp(place, 0.0, 1.0) * TimeBars::kCells);
    return std::min(static_cast<std::size_t>(cell), TimeBars::kCells - 1);
}

// Takes the records of one more input into the sum of all.
void AddTo(TimeBars::Bar& sum, const TimeBars::Bar& bar) {
    if (bar.count > 0) {
        sum.earliest = sum.count == 0 ? bar.earliest : std::min(sum.earliest, bar.earliest);
        sum.latest = sum.count == 0 ? bar.latest : std::max(sum.latest, bar.latest);
    }
    sum.count += bar.count;
    std::ranges::transform(sum.cells, bar.cells, sum.cells.begin(), std::plus());
}

}  // namespace

TimeBars::TimeBars(const exact::RunSetting& setting, const exact::RunReport& report, Times times)
    : m_Axis(AxisOf(report, times)) {
    const std::size_t shown = std::min(report.inputs.size(), exact::RunReport::kMostTimelines);
    Bar sum;
    for (std::size_t input = 0; input < shown; ++input) {
        m_Bars.push_back(InputBar(setting.job.inputs[input], report.inputs[input], times));
        AddTo(sum, m_Bars.back());
    }
    const bool isAsWritten = times == &output::Timeline::written;
    if (shown == report.inputs.size() && shown > 1 && report.IsWritten() &&
        isAsWritten == exact::IsSquish(setting.job.mode)) {
        sum.name = "Output";
        sum.isOutput = sum.isCapture = true;
        m_Bars.push_back(std::move(sum));
    }
    for (const Bar& bar : m_Bars) {
        m_Most = std::max(m_Most, *std::ranges::max_element(bar.cells));
    }
}

TimeBars::Bar TimeBars::InputBar(const exact::InputName& name, const exact::InputReport& input,
                                 Times times) const {
    Bar bar;
    bar.name = NameText(name);
    bar.isCapture = input.isCapture;
    bar.problems = &input.problems;
    if (input.counts.timeline != nullptr) {
        Fill(bar, (*input.counts.timeline).*times);
    }
    return bar;
}

void TimeBars::Fill(Bar& bar, const utils::TimeHistogram& times) const {
    bar.count = times.Total();
    bar.earliest = times.Earliest();
    bar.latest = times.Latest();
    const auto width = static_cast<std::int64_t>(times.Width());
    for (std::size_t bucket = 0; bucket < utils::TimeHistogram::kBuckets; ++bucket) {
        if (times.Count(bucket) == 0) {
            continue;
        }
        // Of the outer buckets only what lies between the first and the last record.
        const std::int64_t start = times.Start(bucket);
        const std::int64_t end = MiscUtils::SaturatingSum(start, width);
        const double from = m_Axis.Place(std::max(start, times.Earliest()));
        const double to = m_Axis.Place(std::min(end, times.Latest()));
        const std::size_t first = CellAt(from);
        const std::size_t last = CellAt(to);
        for (std::size_t cell = first; cell <= last; ++cell) {
            const double left = std::max(from, static_cast<double>(cell) / kCells);
            const double right = std::min(to, static_cast<double>(cell + 1) / kCells);
            const double share = first == last ? 1.0 : (right - left) / (to - from);
            bar.cells[cell] += share * static_cast<double>(times.Count(bucket));
        }
    }
}

int TimeBars::ShadeOf(double count) const {
    if (count <= 0) {
        return 0;
    }
    const double share = std::log1p(count) / std::log1p(std::max(1.0, m_Most));
    return std::clamp(static_cast<int>(std::ceil(kShades * share)), 1, kShades);
}

std::size_t TimeBars::CellOf(std::int64_t time) const {
    return CellAt(m_Axis.Place(time));
}

std::vector<TimeBars::Stretch> TimeBars::Stretches(const Bar& bar) const {
    std::vector<Stretch> stretches;
    const std::size_t last = CellOf(bar.latest);
    for (std::size_t cell = CellOf(bar.earliest); cell <= last; ++cell) {
        const int shade = ShadeOf(bar.cells[cell]);
        if (stretches.empty() || stretches.back().shade != shade) {
            stretches.push_back({cell, cell, shade});
        }
        stretches.back().end = cell + 1;
    }
    return stretches;
}

}  // namespace velora::report
