// The bars of a report's picture as SVG, each with its name and its number of records.

#pragma once

#include <string>

#include "velora/report/markup.h"
#include "velora/report/time_bars.h"

namespace velora::report {

// What stands behind the last record of an input of which a problem was told.
struct Mark {
    const char* path;
    const char* style;
    const char* halo;  // the style of what keeps it clear of the bar
};
inline constexpr Mark kLossMark = {"M-4.5 -4.5L4.5 4.5M4.5 -4.5L-4.5 4.5", "bad", "halo"};
inline constexpr Mark kDoubtMark = {"M0 -5.5L6 5H-6z", "warn", "halo full"};

// What was drawn, for whoever says what it means.
struct Drawn {
    bool hasGap = false;
    bool hasLossMark = false;
    bool hasDoubtMark = false;
};

// A list with a row for each bar, with a line at each tick of their axis.
Drawn AddBars(Markup& html, const TimeBars& bars, const std::vector<TimeAxis::Tick>& ticks);

// A place from 0 to 1 as a coordinate, as short as it can be.
[[nodiscard]] std::string PercentText(double place);

}  // namespace velora::report
