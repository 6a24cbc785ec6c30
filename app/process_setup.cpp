#include "app/process_setup.h"

#include <initializer_list>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

// Runs before the static objects are made, the process's logger among them.
__attribute__((constructor(101))) void ReserveStandardDescriptors() {
    for (const int descriptor : {STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) == -1) {
            const int null = open("/dev/null", O_RDWR);
            if (null != descriptor) {
                dup2(null, descriptor);
                close(null);
            }
        }
    }
}

}  // namespace

void RaiseOpenFileLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}
