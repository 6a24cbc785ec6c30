#include "velora/utils/stdout_terminal.h"

#include <array>
#include <cstring>

#include <unistd.h>

namespace MiscUtils {

bool IsStdoutTerminal() {
    std::array<char, 127> name{};
    return ttyname_r(STDOUT_FILENO, name.data(), name.size()) == 0 && std::strlen(name.data()) > 3;
}

}  // namespace MiscUtils
