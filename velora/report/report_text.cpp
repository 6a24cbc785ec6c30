#include "velora/report/report_text.h"

#include <array>
#include <cmath>
#include <cstdio>

#include "velora/utils/nanoseconds.h"
#include "velora/utils/plain_words.h"

namespace velora::report {

std::string NameText(const exact::InputName& name) {
    const std::string text = NameOf(name);
    return text.empty() ? "''" : text;
}

std::string OutputNameText(const exact::RunSetting& setting, const exact::RunReport& report) {
    const std::string& path = report.keptAs.empty() ? setting.job.output : report.keptAs;
    if (path.empty()) {
        return "''";
    }
    return path == "-" ? "standard output" : path;
}

std::string GroupedText(std::uint64_t number) {
    std::string text = std::to_string(number);
    for (std::size_t place = text.size(); place > 3;) {
        place -= 3;
        text.insert(place, 1, ',');
    }
    return text;
}

std::string GroupedCountText(std::uint64_t count, const std::string& noun) {
    return GroupedText(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string SizeText(std::uint64_t bytes) {
    return utils::ByteCountText(static_cast<double>(bytes));
}

std::string SpanText(double nanoseconds) {
    struct Unit {
        double size;
        const char* name;
    };
    constexpr std::array<Unit, 4> kSmall = {Unit{1, "ns"}, Unit{1e3, "\u00B5s"}, Unit{1e6, "ms"},
                                            Unit{1e9, "s"}};
    std::array<char, 48> text{};
    for (const Unit& unit : kSmall) {
        const double count = nanoseconds / unit.size;
        if (count < (unit.size < 1e9 ? 999.5 : 59.95)) {
            const int digits = unit.size == 1 || count >= 99.95 ? 0 : count >= 9.995 ? 1 : 2;
            std::snprintf(text.data(), text.size(), "%.*f %s",
                          count == std::floor(count) ? 0 : digits, count, unit.name);
            return text.data();
        }
    }
    const auto seconds = static_cast<std::uint64_t>(std::round(nanoseconds / 1e9));
    if (seconds < 86400) {
        return utils::DurationText(static_cast<double>(seconds));
    }
    return GroupedText(seconds / 86400) + " d " + std::to_string(seconds / 3600 % 24) + " h";
}

std::string ShortestUtcText(std::int64_t time) {
    const auto fraction = time % utils::kNanosecondsPerSecond;
    int digits = 0;
    if (fraction % 1'000 != 0) {
        digits = 9;
    } else if (fraction % 1'000'000 != 0) {
        digits = 6;
    } else if (fraction != 0) {
        digits = 3;
    }
    return utils::UtcText(time, digits);
}

}  // namespace velora::report
