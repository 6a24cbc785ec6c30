#include "velora/procutils/scoped_cwd.h"

#include <cerrno>

#include <unistd.h>

#include "velora/procutils/path_parts.h"
#include "velora/utils/errno_text.h"
#include "velora/utils/path_tests.h"

namespace velora::utils::proc {

ScopedCWD::ScopedCWD(const std::string& path) {
    if (getcwd(savedDir.data(), savedDir.size()) == nullptr) {
        savedDir[0] = '\0';  // goes nowhere at the end
    }
    std::string target;
    if (MiscUtils::IsDirectory(path)) {
        target = path;
    } else if (MiscUtils::IsRegularFile(path)) {
        target = DirName(path);
    } else {
        Fail("Invalid path to scopedcwd:" + path);
    }
    if (chdir(target.c_str()) != 0) {
        Fail("ScopedCWD Unable to chdir to lib ");
    }
}

ScopedCWD::~ScopedCWD() {
    static_cast<void>(!chdir(savedDir.data()));
}

void ScopedCWD::Fail(const std::string& message) {
    const int error = errno;
    savedDir[0] = '\0';
    throw MiscUtils::ErrnoError(error, message);
}

}  // namespace velora::utils::proc
