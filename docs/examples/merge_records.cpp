// Merges the short records of many captures into a sink of its own, until there are enough.
#include <cstdint>
#include <iostream>
#include <span>
#include <stop_token>
#include <string>

#include <velora/merge/ordered_merge.h>
#include <velora/output/capture_writer.h>

using namespace velora;

// Where the merged capture goes, in pieces of any size.
class CountingSink final : public codec::ByteSink {
 public:
    codec::OutputOutcome Write(std::span<const std::uint8_t> bytes) override {
        size += bytes.size();
        return {};
    }
    codec::OutputOutcome Finish() override { return {}; }
    std::uint64_t size = 0;
};

int main(int argc, char** argv) {
    std::stop_source stop;  // any thread may ask for it, at any time
    merge::MergeOptions options;
    options.stop = stop.get_token();
    options.accepts = [](const capture::Record& record, std::uint32_t /*source*/) {
        return record.originalLength <= 100;
    };
    merge::OrderedMerge records({argv + 1, argv + argc}, options);
    CountingSink sink;
    output::CaptureWriter writer(sink);

    int count = 0;
    for (const capture::Record& record : records) {
        std::cout << record.time << ": " << record.originalLength << " bytes, link type "
                  << record.interface->linkType << ", " << argv[1 + records.Source()] << "\n";
        writer.Write(record, records.Source());
        count += 1;
        if (count == 5) {
            stop.request_stop();
        }
    }
    for (const merge::SourceProblem& one : records.Problems()) {
        std::cout << argv[1 + one.source] << ": " << one.problem.text << "\n";
    }
    std::cout << (records.IsComplete()  ? "that is all"
                  : records.IsStopped() ? "that is enough"
                                        : "something is missing")
              << "\n";
    const auto outcome = writer.Finish();
    std::cout << (outcome.IsGood() ? std::to_string(sink.size) + " bytes" : outcome.text) << "\n";
}
