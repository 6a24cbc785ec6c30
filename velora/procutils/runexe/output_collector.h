// What is read from the pipes of a child process, a bounded piece at a time.

#pragma once

#include <cstddef>
#include <string>

#include <sys/types.h>

namespace velora::utils::proc {

// Reads once, at most `limit` bytes, and appends to `text` what stands before the first zero byte
// among them. The result is that of read(2).
ssize_t AppendFrom(int fd, std::size_t limit, std::string& text);

// Gathers the standard output and the standard error of a child. The descriptors stay the
// caller's; select(2) watches only those below FD_SETSIZE (1024).
class OutputCollector {
 public:
    // The reading ends of the two pipes.
    OutputCollector(int outputFd, int errorFd) : m_OutputFd(outputFd), m_ErrorFd(errorFd) {}

    // Waits up to 100 ms for something to read, and reads at most 1023 bytes from each pipe that
    // has something, standard output first. A pipe at its end counts as having something, so that
    // passes over a child that closed its outputs and lives on do not wait.
    //
    // False when select() or a read fails, a signal caught while waiting included. The reason is
    // then at the end of Errors(): "Select error: <error text>", or "Error reading from stdout
    // pipe: <error text>", or the same of stderr.
    [[nodiscard]] bool Pass();

    // What has come so far.
    [[nodiscard]] const std::string& Output() const { return m_Output; }
    [[nodiscard]] const std::string& Errors() const { return m_Errors; }

 private:
    bool Fail(const char* what);

    int m_OutputFd;
    int m_ErrorFd;
    std::string m_Output;
    std::string m_Errors;
};

}  // namespace velora::utils::proc
