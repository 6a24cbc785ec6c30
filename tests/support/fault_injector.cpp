// Preloaded into the tool by the fault sweep: makes a chosen call fail.
//
// SEAMTOOL_FAULT is "<call> <k>": the k-th <call> of the process fails, or "<call> <k>+": that one and all
// that follow. A failing close still closes. At a normal end of the process SEAMTOOL_FAULT_REPORT, a path,
// gets "<calls that failed> <descriptors still open>".

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

namespace {

char g_call[32];
int g_which = 0;  // 0: no call is to fail
bool g_forGood = false;
int g_seen = 0;
int g_failed = 0;

__attribute__((constructor)) void ReadPlan() {
    char suffix = ' ';
    const char* const plan = std::getenv("SEAMTOOL_FAULT");
    if (plan != nullptr && std::sscanf(plan, "%31s %d%c", g_call, &g_which, &suffix) >= 2) {
        g_forGood = suffix == '+';
    }
}

bool Fails(const char* call, int error) {
    if (g_which == 0 || std::strcmp(call, g_call) != 0) {
        return false;
    }
    g_seen += 1;
    if (g_seen != g_which && !(g_forGood && g_seen > g_which)) {
        return false;
    }
    g_failed += 1;
    errno = error;
    return true;
}

// glibc's error indicator of a stream, which ferror tells: libbz2 reads on until it or the end shows.
constexpr int kErrorSeen = 0x0020;

template <typename Function>
Function Real(Function /*same type*/, const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

__attribute__((destructor)) void Report() {
    g_which = 0;
    int descriptors = -1;  // the directory's own
    DIR* const directory = opendir("/proc/self/fd");
    for (const dirent* entry = readdir(directory); entry != nullptr; entry = readdir(directory)) {
        descriptors += entry->d_name[0] != '.' ? 1 : 0;
    }
    closedir(directory);
    if (const char* const path = std::getenv("SEAMTOOL_FAULT_REPORT")) {
        if (std::FILE* const file = std::fopen(path, "w")) {
            std::fprintf(file, "%d %d", g_failed, descriptors);
            std::fclose(file);
        }
    }
}

}  // namespace

#define FAULTY(Result, name, parameters, arguments, error, failure)                        \
    extern "C" Result name parameters {                                                    \
        static const auto kReal = Real(static_cast<Result(*) parameters>(nullptr), #name); \
        return Fails(#name, error) ? failure : kReal arguments;                            \
    }

FAULTY(std::FILE*, fopen, (const char* path, const char* mode), (path, mode), EMFILE, nullptr)
FAULTY(std::FILE*, fopen64, (const char* path, const char* mode), (path, mode), EMFILE, nullptr)
FAULTY(ssize_t, read, (int fd, void* buffer, size_t count), (fd, buffer, count), EIO, -1)
FAULTY(ssize_t, write, (int fd, const void* buffer, size_t count), (fd, buffer, count), ENOSPC, -1)
FAULTY(size_t, fread, (void* buffer, size_t size, size_t n, std::FILE* file), (buffer, size, n, file), EIO,
       (file->_flags |= kErrorSeen, 0))
FAULTY(int, close, (int fd), (fd), EIO, (kReal(fd), errno = EIO, -1))
FAULTY(int, fclose, (std::FILE * file), (file), EIO, (kReal(file), errno = EIO, EOF))
FAULTY(void*, scalable_malloc, (size_t size), (size), ENOMEM, nullptr)

extern "C" int open64(const char* path, int flags, ...) {
    std::va_list arguments;
    va_start(arguments, flags);
    const auto mode = static_cast<mode_t>(va_arg(arguments, int));  // without O_CREAT not looked at
    va_end(arguments);
    static const auto kReal = Real(&open64, "open64");
    return Fails("open64", EMFILE) ? -1 : kReal(path, flags, mode);
}

#if !IS_SANITIZED  // a sanitizer has its own allocator, and needs it before this library is ready
extern "C" void* __libc_malloc(size_t size);  // dlsym allocates, so malloc cannot look itself up

extern "C" void* malloc(size_t size) {
    return Fails("malloc", ENOMEM) ? nullptr : __libc_malloc(size);
}
#endif
