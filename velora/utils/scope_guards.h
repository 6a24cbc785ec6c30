// Small owners of what the system hands out: each gives its one thing back at the end of its scope,
// on every path, and leaves errno as it found it, so that the error of a failed call outlives the
// clean-up behind it.
//
// Example:
//     const UniqueFd source(open(path, O_RDONLY));
//     if (!source) throw MiscUtils::ErrnoError(errno, path);
//
// An owner belongs to one thread at a time. The umask belongs to the whole process: see
// ScopedUmask.

#pragma once

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

#include <dirent.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

namespace MiscUtils {

// Puts errno back to its value at construction.
class ScopedErrno {
 public:
    ScopedErrno() noexcept : m_Saved(errno) {}
    ~ScopedErrno() { errno = m_Saved; }
    ScopedErrno(const ScopedErrno&) = delete;
    ScopedErrno(ScopedErrno&&) = delete;
    ScopedErrno& operator=(const ScopedErrno&) = delete;
    ScopedErrno& operator=(ScopedErrno&&) = delete;

 private:
    int m_Saved;
};

// Owns a file descriptor; a negative number is "none". Moving leaves the source with none.
class UniqueFd {
 public:
    // Holds nothing, or the descriptor that is now this object's to close.
    UniqueFd() noexcept = default;
    explicit UniqueFd(int fd) noexcept : m_Fd(fd) {}
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;

    // The other one holds nothing afterwards; what this one held is closed.
    UniqueFd(UniqueFd&& other) noexcept : m_Fd(other.Release()) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        Reset(other.Release());
        return *this;
    }
    ~UniqueFd() { Reset(); }

    // The descriptor, which stays owned; -1, and false, when there is none.
    [[nodiscard]] int Get() const noexcept { return m_Fd; }
    explicit operator bool() const noexcept { return m_Fd >= 0; }

    // Closes what is held, if anything, and takes `fd` instead. The result of close() is passed
    // over: whoever needs it calls close(owner.Release()).
    void Reset(int fd = -1) noexcept {
        if (m_Fd >= 0) {
            const ScopedErrno keepErrno;
            static_cast<void>(close(m_Fd));
        }
        m_Fd = fd;
    }

    // Hands the descriptor over to the caller, who closes it from now on.
    [[nodiscard]] int Release() noexcept { return std::exchange(m_Fd, -1); }

 private:
    int m_Fd = -1;
};

namespace detail {

struct CloseFile {
    void operator()(std::FILE* file) const noexcept {
        const ScopedErrno keepErrno;
        static_cast<void>(std::fclose(file));
    }
};

struct FreeMemory {
    void operator()(void* memory) const noexcept { std::free(memory); }  // leaves errno alone
};

struct CloseDir {
    void operator()(DIR* directory) const noexcept {
        const ScopedErrno keepErrno;
        static_cast<void>(closedir(directory));
    }
};

}  // namespace detail

// Owns a stdio stream. A writer who must know whether the last bytes went out calls
// fclose(file.release()) and looks at the result; the owner itself passes it over.
using UniqueFile = std::unique_ptr<std::FILE, detail::CloseFile>;

// Owns an open directory.
using UniqueDir = std::unique_ptr<DIR, detail::CloseDir>;

// Owns what malloc(3) or one of its kin gave.
template <typename Value>
using UniqueMemory = std::unique_ptr<Value, detail::FreeMemory>;

// Blocks all signals for this thread, and so for every thread that is started in its scope: what a
// signal is to do is then done by the threads that know of it.
class ScopedSignalBlock {
 public:
    ScopedSignalBlock() noexcept {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &m_Previous);
    }
    ~ScopedSignalBlock() { pthread_sigmask(SIG_SETMASK, &m_Previous, nullptr); }
    ScopedSignalBlock(const ScopedSignalBlock&) = delete;
    ScopedSignalBlock(ScopedSignalBlock&&) = delete;
    ScopedSignalBlock& operator=(const ScopedSignalBlock&) = delete;
    ScopedSignalBlock& operator=(ScopedSignalBlock&&) = delete;

 private:
    sigset_t m_Previous{};
};

// Around calls that write to what may be a pipe or grow a file: SIGPIPE and SIGXFSZ, which come
// with EPIPE and EFBIG and would end a process that does not ask for them, neither reach this
// thread nor are left pending. A signal that was pending before stays so.
class ScopedWriteSignals {
 public:
    ScopedWriteSignals() noexcept {
        sigset_t both;
        sigemptyset(&both);
        sigaddset(&both, SIGPIPE);
        sigaddset(&both, SIGXFSZ);
        pthread_sigmask(SIG_BLOCK, &both, &m_Previous);
        sigemptyset(&m_Pending);
        if (IsBlocked(SIGPIPE) || IsBlocked(SIGXFSZ)) {  // else neither can be pending
            sigpending(&m_Pending);
        }
    }
    ~ScopedWriteSignals() {
        if (!IsBlocked(SIGPIPE) || !IsBlocked(SIGXFSZ)) {
            pthread_sigmask(SIG_SETMASK, &m_Previous, nullptr);
        }
    }
    ScopedWriteSignals(const ScopedWriteSignals&) = delete;
    ScopedWriteSignals(ScopedWriteSignals&&) = delete;
    ScopedWriteSignals& operator=(const ScopedWriteSignals&) = delete;
    ScopedWriteSignals& operator=(ScopedWriteSignals&&) = delete;

    // A call has failed with that errno value: the signal that came with it is no longer pending,
    // unless it was before.
    void TakeFor(int error) const noexcept {
        const int number = error == EPIPE ? SIGPIPE : error == EFBIG ? SIGXFSZ : 0;
        if (number == 0 || sigismember(&m_Pending, number) == 1) {
            return;
        }
        const ScopedErrno keepErrno;
        sigset_t taken;
        sigemptyset(&taken);
        sigaddset(&taken, number);
        const timespec noTime{};
        while (sigtimedwait(&taken, nullptr, &noTime) < 0 && errno == EINTR) {
        }
    }

 private:
    [[nodiscard]] bool IsBlocked(int number) const { return sigismember(&m_Previous, number) == 1; }

    sigset_t m_Previous{};  // the mask before
    sigset_t m_Pending{};   // before
};

// Sets the umask and puts the previous one back. The umask is one per process: a file that another
// thread creates meanwhile gets it too, so the scope is kept to the one call that needs it.
class ScopedUmask {
 public:
    // `mask` has the permission bits that new files do not get.
    explicit ScopedUmask(mode_t mask) noexcept : m_Previous(umask(mask)) {}
    ~ScopedUmask() { umask(m_Previous); }
    ScopedUmask(const ScopedUmask&) = delete;
    ScopedUmask(ScopedUmask&&) = delete;
    ScopedUmask& operator=(const ScopedUmask&) = delete;
    ScopedUmask& operator=(ScopedUmask&&) = delete;

 private:
    mode_t m_Previous;
};

}  // namespace MiscUtils
