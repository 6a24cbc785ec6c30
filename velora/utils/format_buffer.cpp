#include "velora/utils/format_buffer.h"

#include <cstdarg>
#include <cstdio>

namespace MiscUtils {

void FormatBuffer(char* buf, std::size_t /*size*/, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): it misses va_start after other files
    std::vsprintf(buf, format, arguments);
    va_end(arguments);
}

int FormatBufferCount(char* buf, std::size_t /*size*/, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): it misses va_start after other files
    const int count = std::vsprintf(buf, format, arguments);
    va_end(arguments);
    return count;
}

}  // namespace MiscUtils
