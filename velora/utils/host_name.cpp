#include "velora/utils/host_name.h"

#include <array>

#include <unistd.h>

namespace MiscUtils {

std::string HostName() {
    std::array<char, 64> name{};
    return gethostname(name.data(), name.size()) == 0 ? name.data() : "hostname-error";
}

}  // namespace MiscUtils
