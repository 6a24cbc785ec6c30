// Puts the process into a time zone for one scope and back into the former one after it.

#pragma once

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

class ScopedZone {
 public:
    explicit ScopedZone(const char* zone) {
        if (const char* former = std::getenv("TZ"); former != nullptr) {
            former_ = former;
        }
        setenv("TZ", zone, 1);
        tzset();
    }
    ~ScopedZone() {
        former_ ? setenv("TZ", former_->c_str(), 1) : unsetenv("TZ");
        tzset();
    }
    ScopedZone(const ScopedZone&) = delete;
    ScopedZone(ScopedZone&&) = delete;
    ScopedZone& operator=(const ScopedZone&) = delete;
    ScopedZone& operator=(ScopedZone&&) = delete;

 private:
    std::optional<std::string> former_;
};

constexpr auto kUtc = "UTC0";
constexpr auto kLordHowe = "LHST-10:30LHDT-11,M10.1.0,M4.1.0";  // half an hour of daylight saving
