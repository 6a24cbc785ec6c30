// What is wrong with an input or an output, as a value: what kind of thing happened, where, and why
// in words. Reading captures gives these back; nothing there throws for what a file can hold.

#pragma once

#include <cstdint>
#include <string>

#include "velora/codec/stream_fault.h"

namespace velora::capture {

// What kind of thing happened; all but a note make a run incomplete.
enum class ProblemKind : std::uint8_t {
    kCannotRead,     // it could not be opened, or reading failed
    kNoCapture,      // its bytes are no capture that is read here
    kDamage,         // it is a capture up to a place, and not behind it
    kWrongChecksum,  // what was read up to a place is whole, but may be wrong
    kLeftOut,        // records that do not fit the output were left out
    kOutOfPlace,     // records stand in the output behind later ones
    kTimeChanged,    // records have another time in the output than in the input
    kChanged,        // the file was not the same from its opening to its end
    kMayRepeat,      // records may equal earlier ones, which should have been dropped
    kNote,           // nothing is missing; worth knowing all the same
};

// One thing that happened to one input or output. Numbers that `text` names stand beside it for
// programs.
struct Problem {
    ProblemKind kind = ProblemKind::kNote;  // for programs
    // What happened, without the path, without a line end. Names in it stand there as they are.
    std::string text;
    std::uint64_t records = 0;  // kDamage, kWrongChecksum, kCannotRead: those read whole before it;
                                // kLeftOut, kOutOfPlace, kTimeChanged: those that it happened to
    // kDamage, kWrongChecksum, kCannotRead: the byte of the decompressed capture.
    std::uint64_t offset = 0;
    codec::Refusal refusal = codec::Refusal::kNone;  // what is well made, but not read here
    int error = 0;  // kCannotRead: the errno value of a path that cannot be opened, else 0
};

}  // namespace velora::capture
