#include "impex/time_ordered_merge.h"

#include <algorithm>
#include <ctime>
#include <iterator>

#include "impex/input_cursor.h"
#include "logging/logger.h"

using VeloLogger::GlobalLogger;

bool Merge(MergeJob& job) {
    CImpex_Libpcap writer;
    if (!writer.OpenOutput(job.outputPath)) {
        *GlobalLogger.Stream(VeloLogger::Level::kError)
            << "Impex(PCAP) Merger: Unable to open output file " << job.outputPath;
        return false;
    }
    std::vector<InputCursor> cursors = OpenInputs(job.inputPaths, nullptr);

    // The second of each cursor's record, side by side: the scan, which is made for every record,
    // then stays in the nearest cache for hundreds of inputs.
    std::vector<std::time_t> headSeconds;
    std::ranges::transform(cursors, std::back_inserter(headSeconds),
                           [](const InputCursor& cursor) { return cursor.header->ts.tv_sec; });

    while (!cursors.empty()) {
        // The first of equals, which is the tie rule.
        const auto earliest = std::ranges::min_element(headSeconds);
        const auto chosen = cursors.begin() + (earliest - headSeconds.begin());
        const std::uint32_t capturedLength = chosen->header->caplen;
        writer.WriteRecord(chosen->header.get(), sizeof(PacketHeader), chosen->data.get(),
                           capturedLength);
        job.packetsWritten += 1;
        job.bytesWritten += capturedLength;
        if (chosen->Advance()) {
            *earliest = chosen->header->ts.tv_sec;
        } else {
            LogEndOfInput(*chosen);
            cursors.erase(chosen);
            headSeconds.erase(earliest);
        }
    }
    LogDone(job);
    return true;
}
