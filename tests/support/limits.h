// Faults that the system makes on demand: a resource limit, and the loss of all privileges.

#pragma once

#include <csignal>

#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

// Lowers a soft limit. RLIMIT_FSIZE stands for a full disk: a write across the limit is cut short and the next one
// fails with EFBIG (its signal is ignored). It holds for the test's own output as well: keep the scope to the call
// under test.
class ScopedLimit {
 public:
    ScopedLimit(__rlimit_resource_t resource, rlim_t limit) : resource_(resource) {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(resource_, &old_);
        const rlimit lowered{.rlim_cur = limit, .rlim_max = old_.rlim_max};
        setrlimit(resource_, &lowered);
    }
    ~ScopedLimit() { setrlimit(resource_, &old_); }
    ScopedLimit(const ScopedLimit&) = delete;
    ScopedLimit& operator=(const ScopedLimit&) = delete;

 private:
    __rlimit_resource_t resource_;
    rlimit old_{};
};

// The RLIMIT_NOFILE under which `more` further descriptors can be opened (0 or 1).
inline rlim_t DescriptorsAllowing(int more) {
    const int lowestFree = dup(0);
    close(lowestFree);
    return static_cast<rlim_t>(lowestFree + more);
}

// True when `holds` is true in a copy of this process that has no privileges.
template <typename Predicate>
bool HoldsForOrdinaryUser(const Predicate& holds) {
    const pid_t child = fork();
    if (child == 0) {
        const bool dropped = geteuid() != 0 || setresuid(65534, 65534, 65534) == 0;
        prctl(PR_SET_DUMPABLE, 1);  // or /proc/self would be closed to it
        _exit(dropped && holds() ? 0 : 1);
    }
    int status = -1;
    return waitpid(child, &status, 0) == child && status == 0;
}
