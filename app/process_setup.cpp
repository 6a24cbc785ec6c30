#include "app/process_setup.h"

#include <cstring>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

bool g_wasClosed[STDERR_FILENO + 1];

void Reserve(int descriptor, bool isExact, int mode = O_RDWR) {
    if (fcntl(descriptor, F_GETFD) == -1) {
        g_wasClosed[descriptor] = true;
        int null = open("/dev/null", mode);
        if (null < 0 && isExact) {
            // A place without devices. Messages shall not reach the output there either.
            null = open("/", O_PATH);
        }
        if (null != descriptor) {
            dup2(null, descriptor);
            close(null);
        }
    }
}

// Runs before the static objects are made, the process's logger among them.
__attribute__((constructor(101))) void ReserveStandardDescriptors(int argc, char** argv) {
    const bool isExact = IsExact(argc, argv);
    if (isExact) {
        Reserve(STDIN_FILENO, isExact, O_WRONLY);  // not to be taken for an empty input
    }
    Reserve(STDOUT_FILENO, isExact);
    Reserve(STDERR_FILENO, isExact);
}

}  // namespace

bool IsExact(int argc, char** argv) {
    return argc > 1 && std::strcmp(argv[1], "--exact") == 0;
}

bool WasClosedAtStart(int descriptor) {
    return g_wasClosed[descriptor];
}

void RaiseOpenFileLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}
