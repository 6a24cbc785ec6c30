#include "app/process_setup.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

void ReserveStandardDescriptors() {
    for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) == -1) {
            open("/dev/null", O_RDWR);  // takes the lowest free number, which is this one
        }
    }
}

void RaiseOpenFileLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}
