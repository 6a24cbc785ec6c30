#include "velora/utils/plain_words.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>

#include "velora/utils/nanoseconds.h"

namespace velora::utils {

std::string CountText(std::uint64_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string SecondsText(std::int64_t nanoseconds) {
    constexpr std::uint64_t kSecond = kNanosecondsPerSecond;
    const auto bits = static_cast<std::uint64_t>(nanoseconds);
    const std::uint64_t magnitude = nanoseconds < 0 ? -bits : bits;
    std::string text = nanoseconds < 0 ? "-" : "";
    text += std::to_string(magnitude / kSecond);
    std::string fraction = std::to_string(kSecond + magnitude % kSecond);
    fraction.front() = '.';  // the leading 1 has kept the zeros behind it
    fraction.erase(fraction.find_last_not_of('0') + 1);
    text += fraction.size() > 1 ? fraction : "";
    return text += " s";
}

std::string ByteCountText(double bytes) {
    constexpr std::array<const char*, 6> kUnits = {"bytes", "kB", "MB", "GB", "TB", "PB"};
    std::size_t unit = 0;
    while (bytes >= 999.5 && unit + 1 < kUnits.size()) {
        bytes /= 1000;
        ++unit;
    }
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), unit > 0 && bytes < 9.95 ? "%.1f %s" : "%.0f %s", bytes,
                  kUnits[unit]);
    return text.data();
}

std::string DurationText(double seconds) {
    const auto whole = static_cast<std::uint64_t>(std::max(0.0, seconds + 0.5));
    if (whole < 60) {
        return std::to_string(whole) + " s";
    }
    if (whole < 3600) {
        return std::to_string(whole / 60) + " min " + std::to_string(whole % 60) + " s";
    }
    return std::to_string(whole / 3600) + " h " + std::to_string(whole / 60 % 60) + " min";
}

std::string UtcText(std::int64_t nanoseconds, int digits) {
    constexpr std::int64_t kSecond = kNanosecondsPerSecond;
    const std::time_t seconds = nanoseconds / kSecond - (nanoseconds % kSecond < 0 ? 1 : 0);
    const std::int64_t fraction = (nanoseconds % kSecond + kSecond) % kSecond;
    std::tm parts{};
    std::array<char, 64> text{};
    gmtime_r(&seconds, &parts);
    std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &parts);
    std::string moment = text.data();
    if (digits > 0) {
        moment +=
            '.' + std::to_string(kSecond + fraction).substr(1, static_cast<std::size_t>(digits));
    }
    return moment;
}

}  // namespace velora::utils
