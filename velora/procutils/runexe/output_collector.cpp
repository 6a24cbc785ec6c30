#include "velora/procutils/runexe/output_collector.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include <sys/select.h>
#include <unistd.h>

#include "velora/utils/errno_text.h"

namespace velora::utils::proc {
namespace {

constexpr suseconds_t kPassMicroseconds = 100000;
constexpr std::size_t kPassBytes = 1023;

// Leaves in `ready` those of the two that have something to read.
int WaitForEither(int first, int second, fd_set& ready) {
    const int highest = std::max(first, second);
    if (highest >= FD_SETSIZE) {
        errno = EINVAL;  // an fd_set has no place for it
        return -1;
    }
    FD_ZERO(&ready);
    FD_SET(first, &ready);
    FD_SET(second, &ready);
    timeval timeout = {.tv_sec = 0, .tv_usec = kPassMicroseconds};
    return select(highest + 1, &ready, nullptr, nullptr, &timeout);
}

}  // namespace

ssize_t AppendFrom(int fd, std::size_t limit, std::string& text) {
    std::array<char, kPassBytes + 1> buffer{};
    const ssize_t got = read(fd, buffer.data(), std::min(limit, kPassBytes));
    text += buffer.data();
    return got;
}

bool OutputCollector::Pass() {
    fd_set ready;
    const int count = WaitForEither(m_OutputFd, m_ErrorFd, ready);
    if (count < 0) {
        return Fail("Select error: ");
    }
    if (count == 0) {
        return true;
    }
    if (FD_ISSET(m_OutputFd, &ready) && AppendFrom(m_OutputFd, kPassBytes, m_Output) < 0) {
        return Fail("Error reading from stdout pipe: ");
    }
    if (FD_ISSET(m_ErrorFd, &ready) && AppendFrom(m_ErrorFd, kPassBytes, m_Errors) < 0) {
        return Fail("Error reading from stderr pipe: ");
    }
    return true;
}

bool OutputCollector::Fail(const char* what) {
    const int error = errno;
    m_Errors.append(what).append(MiscUtils::ErrnoText(error).text);
    return false;
}

}  // namespace velora::utils::proc
