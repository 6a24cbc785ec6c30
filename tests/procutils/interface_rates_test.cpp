#include "procutils/interface_rates.h"

#include <sstream>
#include <string>

#include <gtest/gtest.h>

namespace velora::utils::proc {
namespace {

// What ip 6.1.0 prints for "<name> <received> <transmitted> ..."; two names bring another line.
std::string Reading(const std::string& counters) {
    std::istringstream words(counters);
    std::ostringstream reading;
    for (std::string name, received, sent; words >> name >> received >> sent;) {
        reading << "4: " << name << ": <BROADCAST,MULTICAST,UP,LOWER_UP> mtu 1400 qdisc noop\n"
                << "    link/ether 02:fc:00:00:00:01 brd ff:ff:ff:ff:ff:ff\n"
                << (name == "aliased" ? "    alias an alias\n" : "")
                << "    RX:  bytes packets errors dropped  missed   mcast           \n"
                << "    " << received << "     598      0       0       0       0 \n"
                << "    TX:  bytes packets errors dropped carrier collsns           \n"
                << "    " << sent << "     323      0       0       0       0 \n"
                << (name == "renamed" ? "    altname uplink\n" : "");
    }
    return reading.str();
}

TEST(InterfaceRatesTest, ReportsTheDifferenceOfTwoReadings) {
    const struct {
        std::string first, second;
        int interval;
        std::uint32_t microseconds;
        std::string report;
    } rows[] = {
        {"lo 0 7 eth0 1000 5", "lo 1 7 eth0 3000 6", 2, 2000000, "eth0  8000    4\nlo  4    0\n"},
        {"cut 0 10", "cut 1 9", 3, 3000000, "cut  2    -2\n"},
        {"gone 1 2", "va@vb 3 4", 1, 1000000, "gone  1    2\nva@vb  24    32\n"},
        {"a 0 0 b 1 2", "a 1 1 aliased 9 9 b 9 9", 1, 1000000, "a  8    8\nb  1    2\n"},
        {"a 0 0", "renamed 1 1 a 9 9", 1, 1000000, "a  0    0\nrenamed  8    8\n"},
        {"aliased 1 1 a 1 1", "", 1, 1000000, ""},
        {"a 9223372036854775807 0", "a 0 9223372036854775807", 1, 1000000, "a  8    -8\n"},
        {"a 9223372036854775808 0", "", 4295, 32704, ""},
    };
    for (const auto& row : rows) {
        std::string reading = Reading(row.first);
        const auto pause = [&](std::uint32_t microseconds) {
            EXPECT_EQ(microseconds, row.microseconds);
            reading = Reading(row.second);
        };
        EXPECT_EQ(detail::InterfaceRatesFrom([&] { return reading; }, pause, row.interval), row.report);
    }
    const std::string here = InterfaceRates(1);
    EXPECT_TRUE(here.starts_with("lo  ") || here.find("\nlo  ") != std::string::npos) << here;
}

}  // namespace
}  // namespace velora::utils::proc
