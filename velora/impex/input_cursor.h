// InputCursor: one input in the hands of an algorithm, with its next unwritten record. And the
// steps that both algorithms take with their cursors.
//
// Cursors stand by value in a vector in command-line order, the finished ones too. Which of them
// comes next is told by a tournament tree, whose sources are the cursors under their numbers: among
// equal keys it takes the earlier input.

#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "velora/impex/impex_libpcap.h"
#include "velora/impex/merge_job.h"
#include "velora/impex/packet_header.h"
#include "velora/utils/time_val32.h"
#include "velora/utils/tournament_tree.h"

struct InputCursor {
    std::unique_ptr<CImpex_Libpcap> reader;  // open
    velora::impex::HeaderBlock header;       // of the next record to write
    velora::impex::DataBlock data;           // its header->caplen captured bytes
    std::string path;                        // as the command line has it

    // The squish's own; zero in a merge.
    MiscUtils::TimeVal32 currentTime;  // raw time of the record held
    MiscUtils::TimeVal32 startTime;    // raw time of the input's first record
    MiscUtils::TimeVal32 shift;        // keeps output times from going backwards

    // Releases the record held and reads the next. False when there is none: the input is finished.
    [[nodiscard]] bool Advance();

    // Closes the input.
    void Close() { reader.reset(); }
};

namespace velora::impex {

// The tree of the cursors' next records: `key` gives the number that orders them.
[[nodiscard]] MiscUtils::TournamentTree OrderOf(const std::vector<InputCursor>& cursors,
                                                std::int64_t (*key)(const InputCursor& cursor));

// Opens the inputs in order and reads the first record of each. One that cannot be opened is
// dropped (its reader has logged why), and so is one without a record, whose path `onEmpty` is told
// when it is not null.
[[nodiscard]] std::vector<InputCursor> OpenInputs(const std::vector<std::string>& paths,
                                                  void (*onEmpty)(const std::string& path));

// The log lines for a finished input and for a finished run. The squish uses the merger's wording.
void LogEndOfInput(const InputCursor& cursor);
void LogDone(const MergeJob& job);

}  // namespace velora::impex
