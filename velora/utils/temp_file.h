// Temporary files with names of their own, and files written in one go.
//
// Example:
//     const std::string path = MiscUtils::MakeTempFile("/tmp/report.XXXXXX.csv");
//     MiscUtils::WriteFile(text, path.c_str());
//     ...
//     unlink(path.c_str());
//
// Descriptors are not close-on-exec: see velora/utils/file_contents.h.

#pragma once

#include <string>

#include "velora/utils/api.h"

namespace MiscUtils {

// Creates an empty file of mode 0600, whose path is `pattern` with its first "XXXXXX" replaced by
// characters that make it unique, and gives the path back. What follows the marker is kept as a
// suffix. The file stays on disk, closed, and the name is the caller's until he removes the file.
// An empty pattern stands for "/tmp/Dpi.Pipe.XXXXXX".
//
// Throws std::runtime_error with the error text alone when the file cannot be created. A pattern
// has to hold the marker: one without throws std::out_of_range when it is shorter than five
// characters, and the std::runtime_error for "Invalid argument" otherwise. A pattern of 4096
// characters or more ends the process (SIGABRT).
[[nodiscard]] VELORA_API std::string MakeTempFile(const std::string& pattern);

// Makes `path` a file that holds exactly `content`; what it held before is lost. Throws
// std::runtime_error with "<error text> : <path>" when the file cannot be opened, or when not all
// of it could be written: a part of it may be on disk then.
VELORA_API void WriteFile(const std::string& content, const char* path);

}  // namespace MiscUtils
