// A range of time from user text, and what may be asked of it.
#include <iostream>

#include <velora/utils/time_range.h>
#include <velora/utils/time_text.h>

int main() {
    MiscUtils::TimeRange night;
    night.SetFromText("16-11-2026-22:00", "17-11-2026-06:00");
    std::cout << night.DurationText() << "\n";

    MiscUtils::TimeVal32 packet;
    if (!MiscUtils::ParseDateTime(packet, "17-11-2026-02:44")) {
        return 1;
    }
    std::cout << MiscUtils::AscTimeUsec(packet + MiscUtils::TimeVal32{43, 123}) << "\n"
              << (night.Contains(packet) ? "in the night" : "by day") << "\n"
              << "SELECT * FROM flows WHERE start" << night.SqlBetween() << ";\n";
}
