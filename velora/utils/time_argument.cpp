#include "velora/utils/time_argument.h"

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

std::int64_t LocalSeconds(std::chrono::year_month_day date, int hour, int minute, int second) {
    std::tm parts{};
    parts.tm_year = static_cast<int>(date.year()) - 1900;
    parts.tm_mon = static_cast<int>(static_cast<unsigned>(date.month())) - 1;
    parts.tm_mday = static_cast<int>(static_cast<unsigned>(date.day()));
    parts.tm_hour = hour;
    parts.tm_min = minute;
    parts.tm_sec = second;
    parts.tm_isdst = -1;
    return std::mktime(&parts);
}

std::optional<std::int64_t> ParseDate(Scanner scanner) {
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
    const std::chrono::year_month_day date{std::chrono::year(year),
                                           std::chrono::month(static_cast<unsigned>(month)),
                                           std::chrono::day(static_cast<unsigned>(day))};
    if (!scanner.IsGood() || !date.ok()) {
        return std::nullopt;
    }
    if (scanner.IsAtEnd()) {
        return Combine(LocalSeconds(date, hour, minute, second), nanoseconds);
    }
    std::int64_t east = 0;  // seconds by which the zone's clocks are ahead
    if (!scanner.Accept('Z')) {
        const std::int64_t sign = scanner.Accept('+') ? 1 : -1;
        if (sign < 0) {
            scanner.Expect('-');
        }
        const int hours = scanner.Number(2, 0, 23);
        scanner.Expect(':');
        east = sign * 60 * (60 * hours + scanner.Number(2, 0, 59));
    }
    if (!scanner.IsGood() || !scanner.IsAtEnd()) {
        return std::nullopt;
    }
    const std::int64_t midnight =
        std::chrono::sys_seconds(std::chrono::sys_days(date)).time_since_epoch().count();
    return Combine(midnight + std::int64_t{60} * (60 * hour + minute) + second - east, nanoseconds);
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

std::optional<std::int64_t> ParseTime(std::string_view text) {
    if (!text.starts_with('@')) {
        return ParseDate(Scanner(text));
    }
    text.remove_prefix(1);
    const bool isNegative = text.starts_with('-');
    text.remove_prefix(isNegative ? 1 : 0);
    return ParseSigned(text, isNegative ? -1 : 1);
}

}  // namespace velora::utils
