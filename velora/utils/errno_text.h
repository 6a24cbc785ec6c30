// Error numbers as text, and the one place that builds the library's exception texts.
//
// Example:
//     int fd = open(path, O_RDONLY);
//     if (fd < 0) throw MiscUtils::ErrnoError(errno, "open()");
//     // what(): "No such file or directory : open()"
//
// Values without shared state: any thread may use them.

#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

#include "velora/utils/api.h"

namespace MiscUtils {

// The system's text for an error number (strerror_r(3), at most 510 characters), with the number.
// A number that the system does not know gives the system's own wording for it, such as
// "Unknown error -5"; 0 gives "Success". errno itself is left as it was.
struct VELORA_API ErrnoText {
    // Any number will do.
    explicit ErrnoText(int errorNumber);

    std::string text;   // the system's words
    std::int32_t code;  // the error number
};

// The exception of the utility library for a failed system call. Its text is the error text, " : "
// and `operation`, an empty one included (the path that could not be opened may be empty), or the
// error text alone where no operation is named. The caller is the one who throws it.
[[nodiscard]] VELORA_API std::runtime_error ErrnoError(int errorNumber, std::string_view operation);
[[nodiscard]] VELORA_API std::runtime_error ErrnoError(int errorNumber);

}  // namespace MiscUtils
