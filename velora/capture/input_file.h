// InputFile: something that a capture can be read from, opened, and what became of a regular file
// while it was read.

#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <variant>

#include <sys/types.h>
#include <time.h>

#include "velora/capture/byte_source.h"
#include "velora/capture/problem.h"
#include "velora/utils/api.h"
#include "velora/utils/scope_guards.h"

namespace velora::capture {

struct VELORA_API InputFile {
    MiscUtils::UniqueFd fd;           // open for reading, or
    ByteSource::ReadFunction read{};  // what is read from instead; may wait
    bool isRegular = false;           // else a FIFO, a character device, a socket, or no file

    // Of a regular file, when it was opened; else 0.
    std::uint64_t begin = 0;  // where the reading begins: behind what standard input has given
    std::uint64_t size = 0;   // bytes on disk from there on
    timespec modified{};      // the time of its last change

    // Whether bytes come from elsewhere and can be waited for by poll(2), so that no read has to.
    [[nodiscard]] bool IsToBeAwaited() const { return fd && !isRegular; }

    // One read into `place`, tried again when a signal interrupts it: the number of bytes, 0 at the
    // end, or minus the errno value.
    [[nodiscard]] ssize_t Read(std::span<std::uint8_t> place) const;
};

// What a regular file is at the end of its reading, beside what it was when it was opened.
struct VELORA_API FileChange {
    bool isOther = false;         // shorter, or of the same size but written to
    std::uint64_t lateBytes = 0;  // else: those by which it is longer, which were not read

    // As a problem, or a note; nothing where nothing has changed.
    [[nodiscard]] std::optional<Problem> AsProblem() const;
};

// Opens regular files, FIFOs and character devices for reading; a FIFO without waiting for its
// writer. Anything else (a directory, a block device) is a problem of the kind kCannotRead, as is a
// path that cannot be opened. A descriptor is duplicated; a regular file behind it is read from
// where it stands. Memory and functions always open.
[[nodiscard]] VELORA_API std::variant<InputFile, Problem> OpenInput(const ByteSource& source);

// To be asked before the descriptor is closed. `isCutShort`: it ended before `size` bytes. A file
// that cannot be looked at any more counts as another.
[[nodiscard]] VELORA_API FileChange ChangeOf(const InputFile& file, bool isCutShort) noexcept;

// One read(2) into `place`, which answers as InputFile::Read does.
[[nodiscard]] VELORA_API ssize_t ReadSome(int fd, std::span<std::uint8_t> place);

}  // namespace velora::capture
