// What was logged, without what changes from run to run.

#pragma once

#include <string>
#include <vector>

using Lines = std::vector<std::string>;

// The lines of a log file from `offset` on, each as "<tag> <message>" with the blanks that pad the
// tag, without colours and time. A line that is not whole or has another shape is kept as it is.
[[nodiscard]] Lines LogLines(const std::string& path, std::size_t offset = 0);

// What this process has logged to the global logger since the object was made.
class LogTail {
 public:
    LogTail();
    [[nodiscard]] ::Lines Lines() const;

 private:
    std::string m_Path;
    std::size_t m_Offset;
};
