// Splits captures into pieces of an hour each by the time of their packets, such as
// 2026-11-21T04Z.pcapng.zst, each of which appears whole or not at all.
#include <chrono>
#include <cstdint>
#include <ctime>
#include <iostream>
#include <map>
#include <string>

#include <velora/capture/capture_reader.h>
#include <velora/output/capture_writer.h>

using velora::capture::CaptureReader, velora::capture::Record;
using velora::output::CaptureWriter, velora::output::WriterOptions;
using Hour = std::chrono::sys_time<std::chrono::hours>;

std::string NameOf(Hour hour) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(hour);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    char name[64];
    std::strftime(name, sizeof name, "%Y-%m-%dT%HZ.pcapng.zst", &utc);
    return name;
}

int main(int argc, char** argv) {
    const WriterOptions options{.compression = velora::codec::Compression::kZstd};
    std::map<Hour, CaptureWriter> pieces;  // all open to the end: captures overlap
    int status = 0;
    for (int input = 1; input < argc; ++input) {
        CaptureReader reader;
        static_cast<void>(reader.Open(argv[input]));  // GetProblem tells why not
        for (const Record& record : reader) {
            const std::chrono::sys_time time{std::chrono::nanoseconds(record.time)};
            const Hour hour = floor<std::chrono::hours>(time);
            auto piece = pieces.find(hour);
            if (piece == pieces.end()) {
                piece = pieces.try_emplace(hour, NameOf(hour), options).first;
            }
            // Interfaces of several captures are kept apart by a number for each.
            piece->second.Write(record, static_cast<std::uint32_t>(input));
        }
        if (reader.GetProblem()) {
            std::cout << argv[input] << ": " << reader.GetProblem()->text << "\n";
            status = 1;
        }
    }
    for (auto& [hour, writer] : pieces) {
        const auto outcome = writer.Finish();
        const std::string records = std::to_string(writer.Counts().records) + " records";
        std::cout << NameOf(hour) << ": " << (outcome.IsGood() ? records : outcome.text) << "\n";
        status = outcome.IsGood() ? status : 1;
    }
    return status;
}
