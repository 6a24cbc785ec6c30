#include "velora/utils/bounded_copy.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace MiscUtils {

void CopyBounded(std::span<char> buffer, std::string_view text, std::string_view what) noexcept {
    if (text.size() >= buffer.size()) {
        std::fprintf(stderr, "%.*s: text of %zu bytes does not fit into %zu\n",
                     static_cast<int>(what.size()), what.data(), text.size(), buffer.size());
        std::abort();
    }
    *std::ranges::copy(text, buffer.begin()).out = '\0';
}

}  // namespace MiscUtils
