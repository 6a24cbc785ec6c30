// Receive and transmit rates of the machine's network interfaces, from two readings of the byte
// counters that `ip -s link` prints.

#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "velora/utils/api.h"

namespace velora::utils::proc {

// Reads the counters, sleeps for `intervalSeconds`, reads them again, and returns one line an
// interface, in ascending order of the names:
//     "<name>  <received>    <transmitted>\n"
// with the rates in bits per second, cut to whole numbers, such as
//     eth0  81920    4096
//     eth0.5@eth0  8000    0
//     lo  0    0
// The name is ip's, suffixes included. A counter that went backwards gives a negative rate.
//
// An interface of the first reading alone has its byte counters in place of the rates; one of the
// second alone is taken to have started from 0. A reading ends at the first interface whose block
// in ip's output is not of six lines, such as one with an alias, or behind one with a second name:
// what comes after it is missing from that reading. Without /sbin/ip and /usr/sbin/ip the report is
// empty.
//
// The interval has to be 1 or more; nothing guards the division by 0. The sleep is counted in 32
// bits of microseconds, so from 4295 seconds on it is too short. A signal that the caller catches
// meanwhile does not shorten it.
//
// Runs a command as RunPopen does: one thread at a time.
[[nodiscard]] VELORA_API std::string InterfaceRates(int intervalSeconds);

namespace detail {

// The same on other counters: `sample` gives one reading in the form of `ip -s link`, and `pause`
// waits for the given microseconds between the two.
[[nodiscard]] VELORA_API std::string InterfaceRatesFrom(
    const std::function<std::string()>& sample, const std::function<void(std::uint32_t)>& pause,
    int intervalSeconds);

}  // namespace detail
}  // namespace velora::utils::proc
