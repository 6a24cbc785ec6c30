#include "velora/utils/byte_quantity.h"

#include <array>
#include <cstdio>

namespace MiscUtils {
namespace {

struct ScaledAmount {
    double value;
    int steps;
};

ScaledAmount ScaleDown(double value) {
    constexpr int kMostSteps = 128;  // no finite double takes that many; infinity would take more
    int steps = 0;
    while (value > 1024.0 && steps < kMostSteps) {
        value *= 0.0009765625;
        ++steps;
    }
    return {value, steps};
}

}  // namespace

char* FormatByteRate(char* buffer, std::size_t size, double value) {
    constexpr std::array kUnits{"B", "KB", "MB", "GB", "Tbps"};
    const auto [scaled, steps] = ScaleDown(value);
    const auto unit = static_cast<std::size_t>(steps);
    if (unit < kUnits.size()) {
        std::snprintf(buffer, size, "%.*f %s", steps, scaled, kUnits[unit]);
    } else {
        std::snprintf(buffer, size, "%f", scaled);
    }
    return buffer;
}

std::string FormatByteSize(std::int64_t value) {
    // A 64-bit value reaches "EB"; the units beyond complete the table.
    constexpr std::array kUnits{"B", "kB", "MB", "GB", "TB", "PB", "EB", "ZB", "YB"};
    const auto [scaled, steps] = ScaleDown(static_cast<double>(value));
    std::array<char, 128> buffer{};
    std::snprintf(buffer.data(), buffer.size(), "%.*f %s", steps, scaled,
                  kUnits[static_cast<std::size_t>(steps)]);
    return buffer.data();
}

}  // namespace MiscUtils
