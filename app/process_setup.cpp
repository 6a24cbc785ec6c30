#include "app/process_setup.h"

#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool g_wasClosed[STDERR_FILENO + 1];

sigset_t g_maskAtStart;

void PutInPlace(int opened, int descriptor) {
    if (opened != descriptor) {
        dup2(opened, descriptor);
        close(opened);
    }
}

void Reserve(int descriptor) {
    if (fcntl(descriptor, F_GETFD) == -1) {
        g_wasClosed[descriptor] = true;
        PutInPlace(open("/dev/null", O_RDWR), descriptor);
    }
}

// What can neither be read nor written, nor be opened by a name, and is no other file: a socket as
// a path.
int OpenClosedSocket() {
    const int socketDescriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    char path[32];
    std::snprintf(path, sizeof path, "/proc/self/fd/%d", socketDescriptor);
    const int opened = open(path, O_PATH);
    close(socketDescriptor);
    return opened;
}

void ReserveExactly(int descriptor) {
    if (fcntl(descriptor, F_GETFD) == -1) {
        g_wasClosed[descriptor] = true;
        int opened = OpenClosedSocket();
        if (opened < 0) {  // a place without /proc: it has no names for descriptors either
            opened = open("/", O_PATH);
        }
        PutInPlace(opened, descriptor);
    }
}

void HoldEndingSignals() {
    sigset_t ending;
    sigemptyset(&ending);
    for (const int signal : kEndingSignals) {
        sigaddset(&ending, signal);
    }
    sigprocmask(SIG_BLOCK, &ending, &g_maskAtStart);
}

// Runs before the static objects are made, the process's logger among them.
__attribute__((constructor(101))) void SetUpBeforeTheLog(int argc, char** argv) {
    if (IsExact(argc, argv)) {
        // Until there is a handler a signal would leave the log behind.
        HoldEndingSignals();
        for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            ReserveExactly(descriptor);
        }
        return;
    }
    Reserve(STDOUT_FILENO);
    Reserve(STDERR_FILENO);
}

}  // namespace

bool IsExact(int argc, char** argv) {
    return argc > 1 && std::strcmp(argv[1], "--exact") == 0;
}

bool WasClosedAtStart(int descriptor) {
    return g_wasClosed[descriptor];
}

int ClosedDescriptorAt(const std::string& path) {
    struct stat there {};
    if (stat(path.c_str(), &there) != 0 || !S_ISSOCK(there.st_mode)) {
        return -1;
    }
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        struct stat status {};
        if (g_wasClosed[descriptor] && fstat(descriptor, &status) == 0 &&
            status.st_dev == there.st_dev && status.st_ino == there.st_ino) {
            return descriptor;
        }
    }
    return -1;
}

void LetEndingSignalsThrough() {
    sigprocmask(SIG_SETMASK, &g_maskAtStart, nullptr);
}

void RaiseOpenFileLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}
