// Whole files: copied, appended, written and read with plain descriptors.
//
// All but ReadWholeFile answer by a bool and throw nothing of their own; after false, errno is that
// of the failed call. A file that had to be created and could not be filled stays, as far as it
// was filled. No descriptor outlives a call. But they are not close-on-exec: a program that another
// thread starts meanwhile inherits those of that moment, and keeps the file open.
//
// A new file gets mode 0644 whatever the umask of the process is: it is created under umask 011,
// and the process's own umask is back before the first byte is written. As the umask belongs to the
// whole process, a file that another thread creates at that moment is made under 011 too.

#pragma once

#include <string>

#include <sys/types.h>

#include "velora/utils/api.h"

namespace MiscUtils {

// Makes `target` a copy of what `source` holds; an existing target is truncated and keeps its mode
// and its owner. True when the source was read to its end and no write failed. A write that takes
// only a part of its block (a full disk may do that once before it refuses) is not noticed: who
// needs certainty compares the sizes. A file copied onto itself is truncated before it is read: it
// ends empty, with the answer true.
[[nodiscard]] VELORA_API bool CopyFileContents(const std::string& source,
                                               const std::string& target);

// Adds what `source` holds to the end of `target`, when that is a regular file; the rules for
// writes are those of CopyFileContents. For any other target, a missing one above all, it is
// CopyFileContents. A file is not appended to itself, which would never come to an end: false, with
// errno EINVAL, for an empty one too.
[[nodiscard]] VELORA_API bool AppendFileContents(const std::string& source,
                                                 const std::string& target);

// Adds `text` to the end of a regular file, or creates the file with it. True when the one write
// did not fail; here too a short write passes as a success.
[[nodiscard]] VELORA_API bool WriteStringToFile(const std::string& text, const std::string& path);

// Writes `text` over the bytes of a regular file from `offset` on (in bytes from its start); the
// rest of the file stays, and a gap behind its old end reads as zeros. A file that is created for
// this holds the text at its start: `offset` is for existing files. A negative offset counts as 0.
// The result is that of WriteStringToFile; when an existing file cannot be opened, errno is EBADF,
// from the attempt to seek in it.
[[nodiscard]] VELORA_API bool WriteStringAt(const std::string& text, const std::string& path,
                                            off_t offset);

// All bytes of a file, read to its end, so that files whose size is not known beforehand (those of
// /proc, pipes) are read whole too. A file that cannot be opened or read throws std::runtime_error
// with the text "<error text> : <path>".
[[nodiscard]] VELORA_API std::string ReadWholeFile(const std::string& path);

}  // namespace MiscUtils
