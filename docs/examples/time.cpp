#include <cstdlib>
#include <iostream>

#include "utils/time_range.h"
#include "utils/time_text.h"

int main() {
    setenv("TZ", "UTC0", 1);
    MiscUtils::TimeRange range;
    range.SetFromText("16-11-2026-02:44", "16-11-2026-03:45");  // throws when it is no such text
    std::cout << range.DurationText() << "\n[" << range.SqlBetween() << "]\n";

    const MiscUtils::TimeVal32 inside = range.from + MiscUtils::TimeVal32{43, 123};
    std::cout << MiscUtils::AscTimeUsec(inside) << (range.Contains(inside) ? " is inside\n" : "\n");
}
// Output:
// 01h 01m 00s 000000u
// [ BETWEEN 1794797040 AND 1794800700 ]
// Mon Nov 16 02:44:43 2026-000123 is inside
