// TimeBars: the inputs of a run as bars on one axis of time. The axis is cut into cells, and each
// cell of a bar has a shade by the number of the input's records in it.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "velora/exact/run_report.h"
#include "velora/report/time_axis.h"

namespace velora::report {

class TimeBars {
 public:
    static constexpr std::size_t kCells = 240;
    // From 1 for the fewest records to this for the most.
    static constexpr int kShades = 6;

    // Which of an input's times: as captured, or as a squish has written them.
    using Times = utils::TimeHistogram output::Timeline::*;

    struct Bar {
        std::string name;  // of an input as it is, or that of the sum of all
        bool isOutput = false;
        bool isCapture = false;
        std::uint64_t count = 0;    // records
        std::int64_t earliest = 0;  // of these, when there are any
        std::int64_t latest = 0;
        std::array<double, kCells> cells{};            // records in each
        const exact::ProblemList* problems = nullptr;  // of an input
    };

    // Cells of one shade, one behind the other, up to the one before `end`; 0: without records.
    struct Stretch {
        std::size_t begin = 0;
        std::size_t end = 0;
        int shade = 0;
    };

    // A bar for each of the first RunReport::kMostTimelines inputs, and, where these are all and
    // written with these times, one for the output. The bars refer to the report's problems.
    TimeBars(const exact::RunSetting& setting, const exact::RunReport& report, Times times);

    [[nodiscard]] const TimeAxis& Axis() const { return m_Axis; }
    [[nodiscard]] const std::vector<Bar>& Bars() const { return m_Bars; }
    // Records in the fullest cell.
    [[nodiscard]] double MostInACell() const { return m_Most; }

    // Where a time of the axis lies.
    [[nodiscard]] std::size_t CellOf(std::int64_t time) const;
    // From the first of a bar's records to its last; the bar has some.
    [[nodiscard]] std::vector<Stretch> Stretches(const Bar& bar) const;

 private:
    [[nodiscard]] Bar InputBar(const exact::InputName& name, const exact::InputReport& input,
                               Times times) const;
    void Fill(Bar& bar, const utils::TimeHistogram& times) const;
    [[nodiscard]] int ShadeOf(double count) const;

    TimeAxis m_Axis;
    std::vector<Bar> m_Bars;
    double m_Most = 0;
};

}  // namespace velora::report
