#include "velora/utils/temp_file.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include <unistd.h>

#include "velora/utils/bounded_copy.h"
#include "velora/utils/errno_text.h"
#include "velora/utils/scope_guards.h"

namespace MiscUtils {

std::string MakeTempFile(const std::string& pattern) {
    constexpr std::string_view kMarker = "XXXXXX";
    const std::string pathTemplate = pattern.empty() ? "/tmp/Dpi.Pipe.XXXXXX" : pattern;
    // Without a marker the position wraps round to character 5: substr() refuses a shorter pattern,
    // mkstemps() a longer one.
    const std::string suffix = pathTemplate.substr(pathTemplate.find(kMarker) + kMarker.size());
    std::array<char, 4096> path{};
    CopyBounded(path, pathTemplate, "MakeTempFile");
    const UniqueFd file(mkstemps(path.data(), static_cast<int>(suffix.size())));
    if (!file) {
        throw ErrnoError(errno);
    }
    return path.data();
}

void WriteFile(const std::string& content, const char* path) {
    UniqueFile file(std::fopen(path, "wb"));
    if (!file) {
        throw ErrnoError(errno, path);
    }
    const bool written =
        std::fwrite(content.data(), 1, content.size(), file.get()) == content.size();
    const int writeError = errno;
    const bool closed = std::fclose(file.release()) == 0;
    if (!written || !closed) {
        throw ErrnoError(written ? errno : writeError, path);
    }
}

}  // namespace MiscUtils
