#include "velora/utils/text_shim.h"

#include <cstdarg>
#include <cstring>

namespace MiscUtils {

int ScanText(const char* text, const char* format, ...) {
    va_list fields;
    va_start(fields, format);
    const int converted = std::vsscanf(text, format, fields);
    va_end(fields);
    return converted;
}

// The unbounded calls are what callers of these are promised.
// NOLINTBEGIN(clang-analyzer-security.insecureAPI.strcpy)
char* AppendText(char* dst, std::size_t /*size*/, const char* src) {
    return std::strcat(dst, src);
}

char* CopyText(char* dst, std::size_t /*size*/, const char* src) {
    return std::strcpy(dst, src);
}
// NOLINTEND(clang-analyzer-security.insecureAPI.strcpy)

char* CopyTextN(char* dst, std::size_t /*size*/, const char* src, std::size_t n) {
    return std::strncpy(dst, src, n);
}

char* ErrorText(char* buf, std::size_t size, int code) {
    return strerror_r(code, buf, size);
}

int OpenFile(std::FILE** fp, const char* path, const char* mode) {
    *fp = std::fopen(path, mode);
    return *fp != nullptr ? 0 : -1;
}

}  // namespace MiscUtils
