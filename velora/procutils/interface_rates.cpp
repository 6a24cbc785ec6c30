#include "velora/procutils/interface_rates.h"

#include <chrono>
#include <map>
#include <ostream>
#include <sstream>
#include <thread>
#include <utility>

#include <re2/re2.h>

#include "velora/procutils/runexe/run_popen.h"
#include "velora/utils/path_tests.h"

namespace velora::utils::proc {
namespace {

// Received and transmitted: bytes in a reading, bits per second in the report.
using Counters = std::pair<std::int64_t, std::int64_t>;

// One interface: its name, a line, a header, the received bytes, a header, the transmitted bytes.
const char* const kBlock = "\\d+:\\s+(\\S+):.*\n.*\n.*\n\\s+(\\d+).*\n.*\n\\s+(\\d+).*\n";

// Hands each interface of a reading to `visit`, up to the first block of another shape.
template <typename Visit>
void ForEachInterface(const std::string& reading, const RE2& block, Visit visit) {
    re2::StringPiece rest(reading);
    std::string name;
    Counters bytes;
    while (RE2::Consume(&rest, block, &name, &bytes.first, &bytes.second)) {
        visit(name, bytes);
    }
}

// Counters may be any two numbers: the difference and its eightfold wrap at 64 bits.
std::int64_t BitsPerSecond(std::int64_t from, std::int64_t to, int seconds) {
    const std::uint64_t bytes = static_cast<std::uint64_t>(to) - static_cast<std::uint64_t>(from);
    return static_cast<std::int64_t>(bytes * 8) / seconds;
}

std::string ReadCounters() {
    std::string command;
    for (const std::string program : {"/sbin/ip", "/usr/sbin/ip"}) {
        if (MiscUtils::IsRegularFile(program)) {
            command = program + " -s link";
            break;
        }
    }
    std::string reading;
    RunPopen(command, reading);
    return reading;
}

}  // namespace

std::string detail::InterfaceRatesFrom(const std::function<std::string()>& sample,
                                       const std::function<void(std::uint32_t)>& pause,
                                       int intervalSeconds) {
    const RE2 block(kBlock);
    std::map<std::string, Counters> table;
    ForEachInterface(sample(), block,
                     [&](const std::string& name, const Counters& bytes) { table[name] = bytes; });
    pause(static_cast<std::uint32_t>(intervalSeconds) * 1000000U);
    ForEachInterface(sample(), block, [&](const std::string& name, const Counters& bytes) {
        Counters& entry = table[name];
        entry = {BitsPerSecond(entry.first, bytes.first, intervalSeconds),
                 BitsPerSecond(entry.second, bytes.second, intervalSeconds)};
    });
    std::ostringstream report;
    for (const auto& [name, rates] : table) {
        report << name << "  " << rates.first << "    " << rates.second << std::endl;
    }
    return report.str();
}

std::string InterfaceRates(int intervalSeconds) {
    const auto pause = [](std::uint32_t microseconds) {  // signals do not cut it short
        std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
    };
    return detail::InterfaceRatesFrom(ReadCounters, pause, intervalSeconds);
}

}  // namespace velora::utils::proc
