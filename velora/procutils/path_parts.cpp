#include "velora/procutils/path_parts.h"

#include <array>

#include <libgen.h>

#include "velora/utils/bounded_copy.h"

namespace velora::utils::proc {

std::string DirName(const std::string& path) {
    std::array<char, 1025> buffer{};
    MiscUtils::CopyBounded(buffer, path, "DirName");
    return dirname(buffer.data());
}

std::string BaseName(const std::string& path) {
    std::string copy = path;  // basename() writes into what it is given
    return basename(copy.data());
}

}  // namespace velora::utils::proc
