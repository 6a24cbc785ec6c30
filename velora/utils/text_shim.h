// The string and format functions of the C library under names of this library, for code that was
// written against a bounded interface.
//
// BEWARE: `size` stands where a bounded interface has it and is NOT looked at, except by ErrorText.
// Nothing is cut and no length is checked: the caller has to see to it that `dst` is large enough,
// as with the C function that is named at each operation. Never give them text of unknown length.
//
// No shared state beyond that of the C functions: any thread may use them on buffers of its own.

#pragma once

#include <cstddef>
#include <cstdio>

#include "velora/utils/api.h"
#include "velora/utils/format_buffer.h"

namespace MiscUtils {

// sscanf: gives the number of fields converted, or EOF when the text ended before the first.
[[gnu::format(scanf, 2, 3)]] VELORA_API int ScanText(const char* text, const char* format, ...);

// strcat and strcpy: give `dst`.
VELORA_API char* AppendText(char* dst, std::size_t size, const char* src);
VELORA_API char* CopyText(char* dst, std::size_t size, const char* src);

// strncpy: at most `n` characters, filled up to `n` with zeros; without a terminator when `src` has
// `n` characters or more. Gives `dst`.
VELORA_API char* CopyTextN(char* dst, std::size_t size, const char* src, std::size_t n);

// The text for an error number, from strerror_r: cut to `size`, which counts here. The result is
// the text, which need not lie in `buf`: `buf` may be left untouched.
VELORA_API char* ErrorText(char* buf, std::size_t size, int code);

// fopen: 0 with the stream in `*fp`, for the caller to close; -1 with null there and errno set.
[[nodiscard]] VELORA_API int OpenFile(std::FILE** fp, const char* path, const char* mode);

}  // namespace MiscUtils
