#include "velora/impex/input_cursor.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

#include "velora/logging/logger.h"

using VeloLogger::GlobalLogger;
namespace Level = VeloLogger::Level;

bool InputCursor::Advance() {
    header.reset();
    data.reset();
    PacketHeader* nextHeader = nullptr;
    std::uint8_t* nextData = nullptr;
    if (!reader->ReadNext(&nextHeader, &nextData)) {
        return false;
    }
    header.reset(nextHeader);
    data.reset(nextData);
    return true;
}

namespace velora::impex {

MiscUtils::TournamentTree OrderOf(const std::vector<InputCursor>& cursors,
                                  std::int64_t (*key)(const InputCursor& cursor)) {
    std::vector<std::optional<std::int64_t>> keys;
    std::ranges::transform(cursors, std::back_inserter(keys), key);
    return MiscUtils::TournamentTree(keys);
}

std::vector<InputCursor> OpenInputs(const std::vector<std::string>& paths,
                                    void (*onEmpty)(const std::string& path)) {
    std::vector<InputCursor> cursors;
    for (const std::string& path : paths) {
        InputCursor cursor;
        cursor.reader = std::make_unique<CImpex_Libpcap>();
        cursor.path = path;
        if (!cursor.reader->OpenInput(path)) {
            continue;
        }
        if (!cursor.Advance()) {
            if (onEmpty != nullptr) {
                onEmpty(path);
            }
            continue;
        }
        cursors.push_back(std::move(cursor));
    }
    return cursors;
}

void LogEndOfInput(const InputCursor& cursor) {
    // Two blanks before EOF: scripts look for the line as it is.
    *GlobalLogger.Stream(Level::kDebug) << "Impex(PCAP) Merger: "
                                        << " EOF: on " << cursor.path;
}

void LogDone(const MergeJob& job) {
    *GlobalLogger.Stream(Level::kDebug) << "Impex(PCAP) Merger: Done pkts=" << job.packetsWritten
                                        << " bytes=" << job.bytesWritten << " f=" << job.outputPath;
}

}  // namespace velora::impex
