// TimeAxis: a span of time as a line to draw on: where a time lies on it, and where its ticks are.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace velora::report {

class TimeAxis {
 public:
    // A place on the axis that bears a label.
    struct Tick {
        double place = 0;   // 0 at the beginning of the axis, 1 at its end
        std::string label;  // what is written there
    };

    // From the one time to the other, which is not earlier. A span of nothing gets a second.
    TimeAxis(std::int64_t from, std::int64_t to);

    // Beginning and end, in nanoseconds since 1970.
    [[nodiscard]] std::int64_t From() const { return m_From; }
    [[nodiscard]] std::int64_t To() const { return m_To; }

    // In nanoseconds.
    [[nodiscard]] double Span() const { return m_Span; }

    // 0 at the beginning, 1 at the end, for a time between them.
    [[nodiscard]] double Place(std::int64_t time) const;

    // Ticks at even times of UTC, `most` of them or fewer, three at least where `most` is 6:
    // "03:40:36.5", "03:40", "21 Nov" (a midnight among hours, too), "Nov 2026", "2026". Ticks
    // closer than a millisecond count from the beginning of the axis: "+250 µs".
    [[nodiscard]] std::vector<Tick> Ticks(std::size_t most) const;

 private:
    std::int64_t m_From;
    std::int64_t m_To;
    double m_Span;
};

}  // namespace velora::report
