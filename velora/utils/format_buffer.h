// printf-style formatting into a caller's buffer, without a bound.
//
// The size stands where a bounded call would have it and is ignored: a text is never cut, and one
// that is longer than the buffer is written past its end. Use these where the format itself limits
// the text and the buffer is large enough for the longest one; never with text from outside.
//
// Any thread may call these with a buffer of its own.

#pragma once

#include <cstddef>

#include "velora/utils/api.h"

namespace MiscUtils {

// Writes the formatted text and a terminating zero into `buf`, as vsprintf(3) does.
[[gnu::format(printf, 3, 4)]] VELORA_API void FormatBuffer(char* buf, std::size_t size,
                                                           const char* format, ...);

// The same, and returns the length of the text without its zero, or a negative number when the
// format cannot be carried out.
[[gnu::format(printf, 3, 4)]] VELORA_API int FormatBufferCount(char* buf, std::size_t size,
                                                               const char* format, ...);

}  // namespace MiscUtils
