// Interface rates from two readings of any content. An input: a byte for the seconds between them,
// and both readings with a zero byte between them; without one, the same reading twice.

#include "velora/procutils/interface_rates.h"

#include <cstdint>
#include <cstdio>
#include <sstream>

#include "fuzz/fuzz_support.h"

using fuzz::Check;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::string first(reinterpret_cast<const char*>(data) + 1, size - 1);
    const std::size_t zero = first.find('\0');
    const std::string second = first.substr(zero == std::string::npos ? 0 : zero + 1);
    int readings = 0;
    std::uint32_t pauses = 0;
    const std::string report = velora::utils::proc::detail::InterfaceRatesFrom(
        [&] { return ++readings == 1 ? first.substr(0, zero) : second; },
        [&](std::uint32_t microseconds) { pauses += microseconds; }, data[0] + 1);
    Check(readings == 2 && pauses == (data[0] + 1U) * 1000000U, "one pause between two readings");

    std::istringstream lines(report);
    std::string previous;
    for (std::string line; std::getline(lines, line);) {
        const std::size_t blank = line.find(' ');
        Check(blank != std::string::npos && line.substr(0, blank) > previous,
              "names are there and ascend");
        previous = line.substr(0, blank);
        long received = 0;
        long sent = 0;
        int used = 0;
        Check(std::sscanf(line.c_str() + blank, "  %ld    %ld%n", &received, &sent, &used) == 2 &&
                  line.substr(blank) ==
                      "  " + std::to_string(received) + "    " + std::to_string(sent),
              "a line has two numbers");
    }
    Check(report.empty() || report.ends_with("\n"), "the last line is whole");
    return 0;
}
