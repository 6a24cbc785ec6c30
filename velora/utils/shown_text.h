// Text of others made harmless for a terminal and for whoever reads a log by lines.
//
// One rule holds wherever a text passes through several hands. Names (paths, options, what a
// library says of them) stay as they are in all that is handed on: in a problem, an outcome, a
// report. Who puts a text before somebody's eyes makes it harmless, the whole of it and only there.
// So none is shown raw, and none is escaped twice, which would show a backslash as "\x5cx5c".

#pragma once

#include <string>
#include <string_view>

#include "velora/utils/api.h"

namespace velora::utils {

// The text with every byte that could deceive written as \xNN: control characters, bytes that are
// no valid UTF-8, the characters U+0080 to U+009F and those that turn the direction of writing, and
// the backslash itself, so that what is shown tells the bytes without doubt.
[[nodiscard]] VELORA_API std::string ShownText(std::string_view text);

// The text as valid UTF-8: every byte that belongs to none is written as \xNN, and all else stays
// as it is, the backslash too.
[[nodiscard]] VELORA_API std::string Utf8Text(std::string_view text);

// Whether the text is valid UTF-8, as RFC 3629 has it.
[[nodiscard]] VELORA_API bool IsUtf8(std::string_view text);

}  // namespace velora::utils
