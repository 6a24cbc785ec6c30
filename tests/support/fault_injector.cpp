// Makes a chosen call of its process fail: preloaded into the tool, or linked into a test.
//
// SEAMTOOL_FAULT is "<call> <k>": the k-th <call> of the process fails, or "<call> <k>+": that one and all that follow.
// Up to four, each of another call, stand one behind the other: "linkat 1+ renameat2 2". A failing close still closes.
// At a normal end of the process SEAMTOOL_FAULT_REPORT, a path, gets "<calls that failed> <descriptors still open>". A
// test calls ArmFault() instead.

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/select.h>
#include <sys/uio.h>
#include <unistd.h>

namespace {

struct Plan {
    char call[32];
    int which;  // 0 behind the last plan
    bool forGood;
    int seen;
};
std::array<Plan, 4> g_plans;
int* g_failed = nullptr;  // shared with the children that are forked

}  // namespace

// Takes a plan of the form of SEAMTOOL_FAULT, null for none; gives how many calls failed under the one before.
extern "C" int ArmFault(const char* text) {
    g_plans = {};
    for (Plan& plan : g_plans) {
        int length = 0;
        if (text == nullptr || std::sscanf(text, "%31s %d%n", plan.call, &plan.which, &length) != 2) {
            break;
        }
        text += length;
        plan.forGood = *text == '+';
        text += plan.forGood ? 1 : 0;
    }
    return std::exchange(*g_failed, 0);
}

namespace {

__attribute__((constructor)) void ReadPlan() {
    void* const shared = mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    g_failed = static_cast<int*>(shared);
    ArmFault(std::getenv("SEAMTOOL_FAULT"));
}

bool Fails(const char* call, int error) {
    for (Plan& plan : g_plans) {
        if (plan.which > 0 && std::strcmp(call, plan.call) == 0) {
            plan.seen += 1;
            if (plan.forGood ? plan.seen >= plan.which : plan.seen == plan.which) {
                *g_failed += 1;
                errno = error;
                return true;
            }
        }
    }
    return false;
}

// glibc's error indicator of a stream, which ferror tells: libbz2 reads on until it or the end shows.
constexpr int kErrorSeen = 0x0020;

__attribute__((destructor)) void Report() {
    g_plans = {};
    const auto descriptors = std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}) - 1;  // its own
    if (const char* const path = std::getenv("SEAMTOOL_FAULT_REPORT")) {
        std::ofstream(path) << *g_failed << ' ' << descriptors;
    }
}

}  // namespace

#define FAULTY(Result, name, parameters, arguments, error, failure)                                \
    extern "C" Result name parameters {                                                            \
        static const auto kReal = reinterpret_cast<Result(*) parameters>(dlsym(RTLD_NEXT, #name)); \
        return Fails(#name, error) ? failure : kReal arguments;                                    \
    }

FAULTY(std::FILE*, fopen, (const char* path, const char* mode), (path, mode), EMFILE, nullptr)
FAULTY(std::FILE*, fopen64, (const char* path, const char* mode), (path, mode), EMFILE, nullptr)
FAULTY(ssize_t, read, (int fd, void* buffer, size_t count), (fd, buffer, count), EIO, -1)
FAULTY(ssize_t, write, (int fd, const void* buffer, size_t count), (fd, buffer, count), ENOSPC, -1)
FAULTY(ssize_t, preadv2, (int fd, const iovec* v, int n, off_t at, int how), (fd, v, n, at, how), EOPNOTSUPP, -1)
FAULTY(int, poll, (pollfd * polled, nfds_t count, int limit), (polled, count, limit), EINTR, -1)
FAULTY(size_t, fread, (void* to, size_t size, size_t n, FILE* f), (to, size, n, f), EIO, (f->_flags |= kErrorSeen, 0))
FAULTY(int, close, (int fd), (fd), EIO, (kReal(fd), errno = EIO, -1))
FAULTY(int, fclose, (std::FILE * file), (file), EIO, (kReal(file), errno = EIO, EOF))
FAULTY(int, pipe, (int* ends), (ends), EMFILE, -1)
FAULTY(int, pipe2, (int* ends, int flags), (ends, flags), EMFILE, -1)
FAULTY(pid_t, fork, (), (), EAGAIN, -1)
FAULTY(int, dup2, (int from, int to), (from, to), EBUSY, -1)
FAULTY(int, select, (int n, fd_set* in, fd_set* out, fd_set* odd, timeval* most), (n, in, out, odd, most), EINTR, -1)
FAULTY(int, creat, (const char* path, mode_t mode), (path, mode), ENOSPC, -1)
FAULTY(int, rename, (const char* from, const char* to), (from, to), EXDEV, -1)
FAULTY(int, unlink, (const char* path), (path), EIO, -1)
FAULTY(int, linkat, (int from, const char* a, int to, const char* b, int flags), (from, a, to, b, flags), EPERM, -1)
FAULTY(int, renameat2, (int from, const char* a, int to, const char* b, unsigned f), (from, a, to, b, f), EINVAL, -1)
FAULTY(int, unlinkat, (int directory, const char* path, int flags), (directory, path, flags), EIO, -1)
FAULTY(int, fallocate, (int fd, int mode, off_t offset, off_t size), (fd, mode, offset, size), EOPNOTSUPP, -1)
FAULTY(int, ftruncate, (int fd, off_t size), (fd, size), EIO, -1)
FAULTY(int, pthread_create, (pthread_t * thread, const pthread_attr_t* how, void* (*run)(void*), void* argument),
       (thread, how, run, argument), EAGAIN, EAGAIN)
FAULTY(void*, scalable_malloc, (size_t size), (size), ENOMEM, nullptr)

// Of those that may take one argument more.
#define FAULTY_VARIADIC(name, last, parameters, arguments, error)                               \
    extern "C" int name parameters {                                                            \
        std::va_list list;                                                                      \
        va_start(list, last);                                                                   \
        void* const more = va_arg(list, void*); /* or a number */                               \
        va_end(list);                                                                           \
        static const auto kReal = reinterpret_cast<int(*) parameters>(dlsym(RTLD_NEXT, #name)); \
        return Fails(#name, error) ? -1 : kReal arguments;                                      \
    }

FAULTY_VARIADIC(open, flags, (const char* path, int flags, ...), (path, flags, more), EMFILE)
FAULTY_VARIADIC(open64, flags, (const char* path, int flags, ...), (path, flags, more), EMFILE)
FAULTY_VARIADIC(openat, flags, (int at, const char* path, int flags, ...), (at, path, flags, more), EOPNOTSUPP)
FAULTY_VARIADIC(fcntl, command, (int fd, int command, ...), (fd, command, more), EMFILE)

#if !IS_SANITIZED  // a sanitizer has its own allocator, and needs it before this library is ready
extern "C" void* __libc_malloc(size_t size);  // dlsym allocates, so malloc cannot look itself up

extern "C" void* malloc(size_t size) {
    return Fails("malloc", ENOMEM) ? nullptr : __libc_malloc(size);
}
#endif
