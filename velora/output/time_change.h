// What the format of an output did to the time of a record.

#pragma once

#include <cstdint>

namespace velora::output {

// A time that the file cannot hold is replaced by the nearest that it can.
enum class TimeChange : std::uint8_t {
    kAsIs,
    kBefore1970,    // it is 0 now
    kBeyondLast,    // it is the last that the file can hold now
    kFinerThanUnit  // its digits below the file's unit were not all zero, and are cut
};

}  // namespace velora::output
