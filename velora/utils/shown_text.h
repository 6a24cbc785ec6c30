// Text of others made harmless for a terminal and for whoever reads a log by lines.

#pragma once

#include <string>
#include <string_view>

namespace velora::utils {

// The text with every byte that could deceive written as \xNN: control characters, bytes that are
// no valid UTF-8, the characters U+0080 to U+009F and those that turn the direction of writing, and
// the backslash itself, so that what is shown tells the bytes without doubt.
[[nodiscard]] std::string ShownText(std::string_view text);

// Whether the text is valid UTF-8, as RFC 3629 has it.
[[nodiscard]] bool IsUtf8(std::string_view text);

}  // namespace velora::utils
