#include "velora/utils/time_argument.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstddef>
#include <ctime>

#include "velora/utils/nanoseconds.h"

namespace velora::utils {
namespace {

constexpr std::size_t kFractionDigits = 9;

bool IsDigit(char character) {
    return character >= '0' && character <= '9';
}

// Reads a text from its front. Once something does not fit, nothing does any more.
class Scanner {
 public:
    explicit Scanner(std::string_view text) : m_Text(text) {}

    [[nodiscard]] bool IsGood() const { return m_IsGood; }
    [[nodiscard]] bool IsAtEnd() const { return m_Text.empty(); }

    bool Accept(char character) {
        if (m_Text.empty() || m_Text.front() != character) {
            return false;
        }
        m_Text.remove_prefix(1);
        return true;
    }

    void Expect(char character) { m_IsGood &= Accept(character); }

    // A number of exactly so many digits, from `least` to `most`.
    int Number(std::size_t digits, int least, int most) {
        const std::string_view text = m_Text.substr(0, digits);
        int value = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        m_IsGood &= text.size() == digits && IsDigit(text.front()) && error == std::errc() &&
                    end == text.data() + text.size() && value >= least && value <= most;
        m_Text.remove_prefix(text.size());
        return value;
    }

    // A number of any digits that fits.
    std::int64_t Whole() {
        std::int64_t value = 0;
        const auto [end, error] =
            std::from_chars(m_Text.data(), m_Text.data() + m_Text.size(), value);
        m_IsGood &= !m_Text.empty() && IsDigit(m_Text.front()) && error == std::errc();
        m_Text.remove_prefix(static_cast<std::size_t>(end - m_Text.data()));
        return value;
    }

    // Nanoseconds of ".123", or 0 where no point stands.
    std::int64_t Fraction() {
        if (!Accept('.')) {
            return 0;
        }
        std::int64_t value = 0;
        std::size_t digits = 0;
        for (; digits < kFractionDigits && !m_Text.empty() && IsDigit(m_Text.front()); ++digits) {
            value = 10 * value + (m_Text.front() - '0');
            m_Text.remove_prefix(1);
        }
        m_IsGood &= digits > 0;
        for (; digits < kFractionDigits; ++digits) {
            value *= 10;
        }
        return value;
    }

 private:
    std::string_view m_Text;
    bool m_IsGood = true;
};

std::optional<std::int64_t> Combine(std::int64_t seconds, std::int64_t nanoseconds) {
    std::int64_t time = 0;
    if (seconds < 0 && nanoseconds > 0) {  // both of one sign, lest the first overflow by itself
        seconds += 1;
        nanoseconds -= kNanosecondsPerSecond;
    }
    if (__builtin_mul_overflow(seconds, kNanosecondsPerSecond, &time) ||
        __builtin_add_overflow(time, nanoseconds, &time)) {
        return std::nullopt;
    }
    return time;
}

std::variant<std::int64_t, TimeFault> TimeOrFault(std::optional<std::int64_t> time) {
    if (!time) {
        return TimeFault::kForm;
    }
    return *time;
}

// What a calendar and a clock show, in seconds: those since 1970 where they show UTC.
std::int64_t ShownSeconds(std::chrono::year_month_day date, std::int64_t hour, std::int64_t minute,
                          std::int64_t second) {
    const std::chrono::sys_seconds midnight = std::chrono::sys_days(date);
    return midnight.time_since_epoch().count() + 60 * (60 * hour + minute) + second;
}

// What the clocks of the local zone show at a time.
std::int64_t ShownLocally(std::time_t time) {
    std::tm parts{};
    if (localtime_r(&time, &parts) == nullptr) {
        return time;
    }
    return ShownSeconds({std::chrono::year(parts.tm_year + 1900),
                         std::chrono::month(static_cast<unsigned>(parts.tm_mon + 1)),
                         std::chrono::day(static_cast<unsigned>(parts.tm_mday))},
                        parts.tm_hour, parts.tm_min, parts.tm_sec);
}

// When the local clocks show that. mktime(3) is of no use: of two such times it gives one or the
// other by what it was asked before, and for one that never occurs it gives another.
std::variant<std::int64_t, TimeFault> LocalTime(std::int64_t shown, TimeOfTwo ofTwo) {
    // No zone is further than this from UTC, and none keeps its clocks for less than a step.
    constexpr std::int64_t kFarthest = std::int64_t{26} * 3600;
    constexpr std::int64_t kStep = std::int64_t{15} * 60;
    tzset();  // localtime_r need not look at TZ
    std::optional<std::int64_t> found;
    for (std::int64_t near = shown - kFarthest; near <= shown + kFarthest; near += kStep) {
        // As if the clocks ran on from there as they ran there.
        const std::int64_t time = near + (shown - ShownLocally(near));
        if (ShownLocally(time) == shown) {
            const bool isEarlier = ofTwo == TimeOfTwo::kEarlier;
            found = !found ? time : isEarlier ? std::min(*found, time) : std::max(*found, time);
        }
    }
    if (!found) {
        return TimeFault::kNeverOccurs;
    }
    return *found;
}

// Seconds by which the clocks of the zone that stands there, "Z" or "+01:00", are ahead.
std::int64_t ParseZone(Scanner& scanner) {
    if (scanner.Accept('Z')) {
        return 0;
    }
    const std::int64_t sign = scanner.Accept('+') ? 1 : -1;
    if (sign < 0) {
        scanner.Expect('-');
    }
    const int hours = scanner.Number(2, 0, 23);
    scanner.Expect(':');
    return sign * 60 * (60 * hours + scanner.Number(2, 0, 59));
}

std::variant<std::int64_t, TimeFault> ParseDate(Scanner scanner, TimeOfTwo ofTwo) {
    const int year = scanner.Number(4, 0, 9999);
    scanner.Expect('-');
    const int month = scanner.Number(2, 1, 12);
    scanner.Expect('-');
    const int day = scanner.Number(2, 1, 31);
    scanner.Expect('T');
    const int hour = scanner.Number(2, 0, 23);
    scanner.Expect(':');
    const int minute = scanner.Number(2, 0, 59);
    scanner.Expect(':');
    const int second = scanner.Number(2, 0, 59);
    const std::int64_t nanoseconds = scanner.Fraction();
    const bool isLocal = scanner.IsAtEnd();
    const std::int64_t east = isLocal ? 0 : ParseZone(scanner);
    const std::chrono::year_month_day date{std::chrono::year(year),
                                           std::chrono::month(static_cast<unsigned>(month)),
                                           std::chrono::day(static_cast<unsigned>(day))};
    if (!scanner.IsGood() || !scanner.IsAtEnd() || !date.ok()) {
        return TimeFault::kForm;
    }
    const std::int64_t shown = ShownSeconds(date, hour, minute, second);
    const auto seconds =
        isLocal ? LocalTime(shown, ofTwo) : std::variant<std::int64_t, TimeFault>(shown - east);
    if (const auto* const fault = std::get_if<TimeFault>(&seconds)) {
        return *fault;
    }
    return TimeOrFault(Combine(std::get<std::int64_t>(seconds), nanoseconds));
}

std::optional<std::int64_t> ParseSigned(std::string_view text, int sign) {
    Scanner scanner(text);
    const std::int64_t seconds = scanner.Whole();
    const std::int64_t nanoseconds = scanner.Fraction();
    if (!scanner.IsGood() || !scanner.IsAtEnd()) {
        return std::nullopt;
    }
    return Combine(sign * seconds, sign * nanoseconds);
}

}  // namespace

std::optional<std::int64_t> ParseSeconds(std::string_view text) {
    return ParseSigned(text, 1);
}

std::variant<std::int64_t, TimeFault> ParseTime(std::string_view text, TimeOfTwo ofTwo) {
    if (!text.starts_with('@')) {
        return ParseDate(Scanner(text), ofTwo);
    }
    text.remove_prefix(1);
    const bool isNegative = text.starts_with('-');
    text.remove_prefix(isNegative ? 1 : 0);
    return TimeOrFault(ParseSigned(text, isNegative ? -1 : 1));
}

}  // namespace velora::utils
