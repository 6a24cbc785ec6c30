// InputCursor: one input in the hands of an algorithm, with its next unwritten record. And the
// steps that both algorithms take with their cursors.
//
// Cursors stand by value in a vector in command-line order. The vector only grows at the end and
// shrinks by erasing a finished cursor, so an earlier input always stands before a later one.

#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "impex/impex_libpcap.h"
#include "impex/merge_job.h"
#include "impex/packet_header.h"
#include "utils/time_val32.h"

struct InputCursor {
    std::unique_ptr<CImpex_Libpcap> reader;  // open
    HeaderBlock header;                      // of the next record to write
    DataBlock data;                          // its header->caplen captured bytes
    std::string path;                        // as the command line has it

    // The squish's own; zero in a merge.
    MiscUtils::TimeVal32 currentTime;  // raw time of the record held
    MiscUtils::TimeVal32 startTime;    // raw time of the input's first record
    MiscUtils::TimeVal32 shift;        // keeps output times from going backwards

    // Releases the record held and reads the next. False when there is none: the input is finished.
    [[nodiscard]] bool Advance();
};

// Opens the inputs in order and reads the first record of each. One that cannot be opened is
// dropped (its reader has logged why), and so is one without a record, whose path `onEmpty` is told
// when it is not null.
[[nodiscard]] std::vector<InputCursor> OpenInputs(const std::vector<std::string>& paths,
                                                  void (*onEmpty)(const std::string& path));

// The log lines for a finished input and for a finished run. The squish uses the merger's wording.
void LogEndOfInput(const InputCursor& cursor);
void LogDone(const MergeJob& job);
