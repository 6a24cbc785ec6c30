// Times of options in local time, where clocks go back and forward.

#include "velora/utils/time_argument.h"

#include <cstdlib>
#include <ctime>
#include <string>
#include <variant>

#include <gtest/gtest.h>

namespace velora::utils {
namespace {

// Puts the zone of the process back in the end.
class ScopedZone {
 public:
    explicit ScopedZone(const char* zone) : m_Before(getenv("TZ") != nullptr ? getenv("TZ") : "") {
        setenv("TZ", zone, 1);
        tzset();
    }
    ~ScopedZone() {
        setenv("TZ", m_Before.c_str(), 1);
        tzset();
    }
    ScopedZone(const ScopedZone&) = delete;
    ScopedZone& operator=(const ScopedZone&) = delete;

 private:
    std::string m_Before;
};

constexpr const char* kNewYork = "EST5EDT,M3.2.0,M11.1.0";
constexpr const char* kLordHowe = "LHST-10:30LHDT-11,M10.1.0,M4.1.0";  // half an hour back and forward
constexpr const char* kKiritimati = "<+14>-14";                        // the zone that is furthest ahead
constexpr const char* kBehind = "XST24:59:59XDT,M3.2.0,M11.1.0";       // as far behind as a zone can be
constexpr std::int64_t kNever = -1;

TEST(TimeArgumentTest, TellsTheTwoOfALocalTimeApartWhateverWasAskedBefore) {
    struct Row {
        const char* about;
        const char* zone;
        const char* text;
        std::int64_t earlier;  // in seconds, or never
        std::int64_t later;
    };
    const Row rows[] = {
        {"winter", kNewYork, "2026-01-01T00:00:00", 1767243600, 1767243600},
        {"summer", kNewYork, "2026-07-01T00:00:00", 1782878400, 1782878400},
        {"before clocks go back", kNewYork, "2026-11-01T00:59:59", 1793509199, 1793509199},
        {"the first that occurs twice", kNewYork, "2026-11-01T01:00:00", 1793509200, 1793512800},
        {"one that occurs twice", kNewYork, "2026-11-01T01:30:00", 1793511000, 1793514600},
        {"the last that occurs twice", kNewYork, "2026-11-01T01:59:59", 1793512799, 1793516399},
        {"after clocks went back", kNewYork, "2026-11-01T02:00:00", 1793516400, 1793516400},
        {"before clocks go forward", kNewYork, "2026-03-08T01:59:59", 1772953199, 1772953199},
        {"the first that never occurs", kNewYork, "2026-03-08T02:00:00", kNever, kNever},
        {"the last that never occurs", kNewYork, "2026-03-08T02:59:59", kNever, kNever},
        {"after clocks went forward", kNewYork, "2026-03-08T03:00:00", 1772953200, 1772953200},
        {"half an hour back, too early", kLordHowe, "2026-04-05T01:29:59", 1775312999, 1775312999},
        {"half an hour back", kLordHowe, "2026-04-05T01:30:00", 1775313000, 1775314800},
        {"half an hour back, too late", kLordHowe, "2026-04-05T02:00:00", 1775316600, 1775316600},
        {"half an hour forward", kLordHowe, "2026-10-04T02:29:59", kNever, kNever},
        {"half an hour forward, too late", kLordHowe, "2026-10-04T02:30:00", 1791041400, 1791041400},
        {"far ahead", kKiritimati, "2026-01-01T00:00:00", 1767175200, 1767175200},
        {"far behind", kBehind, "2026-01-01T00:00:00", 1767315599, 1767315599},
        {"a zone in the text", kNewYork, "2026-11-01T01:30:00-05:00", 1793514600, 1793514600},
        {"a zone in the text makes it occur", kNewYork, "2026-03-08T02:30:00Z", 1772937000, 1772937000},
    };
    for (const char* const before : {"2026-01-01T00:00:00", "2026-07-01T00:00:00"}) {
        for (const Row& row : rows) {
            SCOPED_TRACE(row.about);
            const ScopedZone zone(row.zone);
            const auto secondsOf = [&](TimeOfTwo ofTwo) {
                static_cast<void>(ParseTime(before, ofTwo));
                const auto time = ParseTime(row.text, ofTwo);
                const auto* const fault = std::get_if<TimeFault>(&time);
                EXPECT_TRUE(fault == nullptr || *fault == TimeFault::kNeverOccurs);
                return fault != nullptr ? kNever : std::get<std::int64_t>(time) / 1'000'000'000;
            };
            EXPECT_EQ(secondsOf(TimeOfTwo::kEarlier), row.earlier);
            EXPECT_EQ(secondsOf(TimeOfTwo::kLater), row.later);
        }
    }
}

}  // namespace
}  // namespace velora::utils
