// Prints the short records of many captures in the order of time, until there are enough.
#include <cstdint>
#include <iostream>
#include <stop_token>

#include <velora/merge/ordered_merge.h>

using namespace velora;

int main(int argc, char** argv) {
    std::stop_source stop;  // any thread may ask for it, at any time
    merge::MergeOptions options;
    options.stop = stop.get_token();
    options.accepts = [](const capture::Record& record, std::uint32_t /*source*/) {
        return record.originalLength <= 100;
    };
    merge::OrderedMerge records({argv + 1, argv + argc}, options);

    int count = 0;
    for (const capture::Record& record : records) {
        std::cout << record.time << ": " << record.originalLength << " bytes, link type "
                  << record.interface->linkType << ", " << argv[1 + records.Source()] << "\n";
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
}
