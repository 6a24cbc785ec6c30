// Splits captures into pieces of an hour each by the time of their packets, such as
// 2026-11-21T04Z.pcapng.zst, each of which appears whole or not at all.
#include <algorithm>
#include <chrono>
#include <ctime>
#include <iostream>
#include <optional>
#include <string>

#include <velora/merge/ordered_merge.h>
#include <velora/output/capture_writer.h>

using namespace velora;
using Hour = std::chrono::sys_time<std::chrono::hours>;

std::string NameOf(Hour hour) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(hour);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    char name[64];
    std::strftime(name, sizeof name, "%Y-%m-%dT%HZ.pcapng.zst", &utc);
    return name;
}

// Lets the piece appear; whether all went well.
bool Finish(Hour hour, output::CaptureWriter& piece) {
    const auto outcome = piece.Finish();
    std::cout << NameOf(hour) << ": "
              << (outcome.IsGood() ? std::to_string(piece.Counts().records) + " records"
                                   : outcome.text)
              << "\n";
    return outcome.IsGood();
}

int main(int argc, char** argv) {
    // In the order of time, so that one piece is open at once.
    merge::OrderedMerge records({argv + 1, argv + argc});
    std::optional<output::CaptureWriter> piece;
    Hour current{};
    bool isGood = true;
    for (const capture::Record& record : records) {
        const Hour hour = std::chrono::floor<std::chrono::hours>(
            std::chrono::sys_time(std::chrono::nanoseconds(record.time)));
        if (!piece || hour > current) {  // one that comes too late stays in the piece at hand
            isGood = (!piece || Finish(current, *piece)) && isGood;
            piece.emplace(NameOf(hour),
                          output::WriterOptions{.compression = codec::Compression::kZstd});
            current = hour;
        }
        piece->Write(record, records.Source());  // interfaces of each capture are kept apart
    }
    isGood = (!piece || Finish(current, *piece)) && isGood;
    for (const merge::SourceProblem& one : records.Problems()) {
        std::cout << argv[1 + one.source] << ": " << one.problem.text << "\n";
    }
    return isGood && records.IsComplete() ? 0 : 1;
}
