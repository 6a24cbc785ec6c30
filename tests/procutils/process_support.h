// What tests of processes share.

#pragma once

#include <csignal>
#include <functional>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace test_support {

// For its scope, the soft value of one resource limit.
class ScopedLimit {
 public:
    ScopedLimit(__rlimit_resource_t resource, rlim_t value) : resource_(resource) {
        getrlimit(resource_, &previous_);
        const rlimit limit = {value, previous_.rlim_max};
        setrlimit(resource_, &limit);
    }
    ~ScopedLimit() { setrlimit(resource_, &previous_); }
    ScopedLimit(const ScopedLimit&) = delete;
    ScopedLimit(ScopedLimit&&) = delete;
    ScopedLimit& operator=(const ScopedLimit&) = delete;
    ScopedLimit& operator=(ScopedLimit&&) = delete;

 private:
    __rlimit_resource_t resource_;
    rlimit previous_{};
};

// True when `holds` is true in a copy of this process that has no privileges.
inline bool HoldsForOrdinaryUser(const std::function<bool()>& holds) {
    constexpr uid_t kNobody = 65534;
    const pid_t child = fork();
    if (child == 0) {
        const bool dropped = geteuid() != 0 || setresuid(kNobody, kNobody, kNobody) == 0;
        _exit(dropped && holds() ? 0 : 1);
    }
    int status = -1;
    return waitpid(child, &status, 0) == child && status == 0;
}

// True when `run` finds SIGCHLD ignored, and leaves it so. The previous handler comes back.
inline bool KeepsSigchld(const std::function<void()>& run) {
    const auto previous = std::signal(SIGCHLD, SIG_IGN);
    run();
    return std::signal(SIGCHLD, previous) == SIG_IGN;
}

}  // namespace test_support
