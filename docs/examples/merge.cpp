// Merges two captures, and squishes them into another file.
#include <iostream>

#include <velora/impex/squish.h>
#include <velora/impex/time_ordered_merge.h>

int main(int argc, char** argv) {
    if (argc != 3) {
        return 1;
    }
    MergeJob merged("merged.pcap", {argv[1], argv[2]});
    if (!Merge(merged)) {
        return 1;  // the log says why
    }
    std::cout << "merged: " << merged.packetsWritten << " records\n";

    MergeJob squished("squished.pcap", {argv[1], argv[2]});
    if (!Squish(squished, 0)) {
        return 1;
    }
    std::cout << "squished: " << squished.packetsWritten << " records\n";
}
