// InputFile: something that a capture can be read from, opened.

#pragma once

#include <cstdint>
#include <string>
#include <variant>

#include <sys/types.h>

#include "velora/capture/problem.h"
#include "velora/utils/scope_guards.h"

namespace velora::capture {

struct InputFile {
    MiscUtils::UniqueFd fd;  // open for reading
    bool isRegular = false;  // else a FIFO, a character device, or what standard input may be
    std::uint64_t size = 0;  // bytes on disk; 0 when it is not regular
};

// Opens regular files, FIFOs and character devices for reading; a FIFO without waiting for its
// writer. Anything else (a directory, a block device) is a problem of the kind kCannotRead, as is a
// path that cannot be opened.
[[nodiscard]] std::variant<InputFile, Problem> OpenInputFile(const std::string& path);

// Standard input, by a descriptor of its own. A regular file is read from where it stands.
[[nodiscard]] std::variant<InputFile, Problem> OpenStandardInput();

// One read into `place`, tried again when a signal interrupts it. The number of bytes, 0 at the
// end, or minus the errno value.
[[nodiscard]] ssize_t ReadSome(int fd, std::uint8_t* place, std::size_t size);

}  // namespace velora::capture
