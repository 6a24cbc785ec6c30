#include "velora/utils/text_edit.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace MiscUtils {

bool EndsWith(std::string_view text, std::string_view suffix) {
    return text.ends_with(suffix);
}

void ReplaceAll(std::string& text, std::string_view from, std::string_view to) {
    if (from.empty()) {
        return;
    }
    std::string result;
    std::size_t done = 0;
    for (std::size_t found = 0; (found = text.find(from, done)) != std::string::npos;
         done = found + from.size()) {
        result.append(text, done, found - done).append(to);
    }
    result.append(text, done);
    text = std::move(result);
}

void EraseAll(std::string& text, std::string_view pattern) {
    if (pattern.empty()) {
        return;
    }
    std::size_t found = 0;
    while ((found = text.find(pattern, found)) != std::string::npos) {
        text.erase(found, pattern.size());
        // What stands before this was free of the pattern: only an occurrence across the cut can
        // lie ahead of it.
        found -= std::min(found, pattern.size() - 1);
    }
}

}  // namespace MiscUtils
