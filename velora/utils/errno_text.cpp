#include "velora/utils/errno_text.h"

#include <array>
#include <cerrno>
#include <cstring>

namespace MiscUtils {

ErrnoText::ErrnoText(int errorNumber) : code(errorNumber) {
    const int savedErrno = errno;
    std::array<char, 511> buffer{};
    text = strerror_r(errorNumber, buffer.data(), buffer.size());
    errno = savedErrno;
}

std::runtime_error ErrnoError(int errorNumber, std::string_view operation) {
    return std::runtime_error(ErrnoText(errorNumber).text.append(" : ").append(operation));
}

std::runtime_error ErrnoError(int errorNumber) {
    return std::runtime_error(ErrnoText(errorNumber).text);
}

}  // namespace MiscUtils
