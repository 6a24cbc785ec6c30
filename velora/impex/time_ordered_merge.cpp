#include "velora/impex/time_ordered_merge.h"

#include "velora/impex/input_cursor.h"
#include "velora/logging/logger.h"

using VeloLogger::GlobalLogger;

namespace {

std::int64_t Key(const InputCursor& cursor) {
    return cursor.header->ts.tv_sec;
}

}  // namespace

bool Merge(MergeJob& job) {
    CImpex_Libpcap writer;
    if (!writer.OpenOutput(job.outputPath)) {
        *GlobalLogger.Stream(VeloLogger::Level::kError)
            << "Impex(PCAP) Merger: Unable to open output file " << job.outputPath;
        return false;
    }
    std::vector<InputCursor> cursors = velora::impex::OpenInputs(job.inputPaths, nullptr);

    MiscUtils::TournamentTree heads = velora::impex::OrderOf(cursors, Key);
    while (!heads.Empty()) {
        InputCursor& chosen = cursors[heads.Winner()];
        const std::uint32_t capturedLength = chosen.header->caplen;
        writer.WriteRecord(chosen.header.get(), sizeof(PacketHeader), chosen.data.get(),
                           capturedLength);
        job.packetsWritten += 1;
        job.bytesWritten += capturedLength;
        if (chosen.Advance()) {
            heads.Replace(Key(chosen));
        } else {
            velora::impex::LogEndOfInput(chosen);
            chosen.Close();
            heads.Remove();
        }
    }
    velora::impex::LogDone(job);
    return true;
}
