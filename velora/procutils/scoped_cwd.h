// ScopedCWD: another working directory for the length of a scope.
//
// Example:
//     {
//         const ScopedCWD inside("/etc/velora");
//         ...  // relative paths start from /etc/velora
//     }        // and from the previous directory again
//
// The working directory belongs to the whole process: while one lives, no other thread may use
// relative paths.

#pragma once

#include <array>
#include <string>

#include "velora/utils/api.h"

namespace velora::utils::proc {

class VELORA_API ScopedCWD {
 public:
    // Changes to `path` when it is a directory, and to the directory part of `path` when it is a
    // regular file (a file's path of more than 1024 bytes ends the process, see DirName). Raises
    // std::runtime_error, with nothing changed:
    // - "<error text> : Invalid path to scopedcwd:<path>" when it is neither; for a path that does
    //   exist, such as a socket, the error text is that of whatever call failed last before;
    // - "<error text> : ScopedCWD Unable to chdir to lib " when the change is refused.
    explicit ScopedCWD(const std::string& path);

    // Changes back. A directory that can be entered no more, or whose path has more than 1023 bytes
    // and could not be stored, is passed over in silence: the process then stays where it is.
    ~ScopedCWD();

    ScopedCWD(const ScopedCWD&) = delete;
    ScopedCWD(ScopedCWD&&) = delete;
    ScopedCWD& operator=(const ScopedCWD&) = delete;
    ScopedCWD& operator=(ScopedCWD&&) = delete;

 private:
    [[noreturn]] void Fail(const std::string& message);

    std::array<char, 1024> savedDir{};
};

}  // namespace velora::utils::proc
