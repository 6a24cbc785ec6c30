#include "app/standard_error.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>

#include <poll.h>
#include <unistd.h>

void WriteToStandardError(std::string_view text) noexcept {
    while (!text.empty()) {
        const ssize_t count = write(STDERR_FILENO, text.data(), text.size());
        if (count < 0 && errno == EAGAIN) {  // whoever shares it with us has set O_NONBLOCK
            pollfd wait{.fd = STDERR_FILENO, .events = POLLOUT, .revents = 0};
            static_cast<void>(poll(&wait, 1, -1));
        } else if (count < 0 && errno != EINTR) {
            return;
        }
        text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
}
