// Small edits of a string. Bytes are compared as they are: no case folding, no character sets.

#pragma once

#include <string>
#include <string_view>

#include "velora/utils/api.h"

namespace MiscUtils {

// Every text ends with the empty suffix.
[[nodiscard]] VELORA_API bool EndsWith(std::string_view text, std::string_view suffix);

// Replaces every occurrence of `from` in `text` by `to`, from left to right; what was put in is not
// searched again, so "aaa" with "a" by "aa" becomes "aaaaaa". An empty `from` leaves the text as it
// is.
VELORA_API void ReplaceAll(std::string& text, std::string_view from, std::string_view to);

// Removes the first occurrence of `pattern` from `text` until there is none left, those included
// that a removal has brought together: "aabb" without "ab" is "". An empty pattern leaves the text
// as it is. `pattern` must not be a part of `text`, which changes under it.
VELORA_API void EraseAll(std::string& text, std::string_view pattern);

}  // namespace MiscUtils
