#include "capture/plain_words.h"

namespace velora::capture {

std::string Counted(std::uint64_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string Seconds(std::int64_t nanoseconds) {
    constexpr std::uint64_t kSecond = 1'000'000'000;
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

}  // namespace velora::capture
