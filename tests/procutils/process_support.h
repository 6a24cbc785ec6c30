// What tests of processes share.

#pragma once

#include <csignal>
#include <exception>
#include <functional>
#include <string>

#include <spawn.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace test_support {

// True when `holds` is true in a copy of this process that has no privileges.
inline bool HoldsForOrdinaryUser(const std::function<bool()>& holds) {
    constexpr uid_t kNobody = 65534;
    const pid_t child = fork();
    if (child == 0) {
        const bool dropped = geteuid() != 0 || setresuid(kNobody, kNobody, kNobody) == 0;
        prctl(PR_SET_DUMPABLE, 1);  // or /proc/self would be closed to it
        _exit(dropped && holds() ? 0 : 1);
    }
    int status = -1;
    return waitpid(child, &status, 0) == child && status == 0;
}

// What `run` gives: "true", "false", or the text of what it raises.
inline std::string OutcomeOf(const std::function<bool()>& run) {
    try {
        return run() ? "true" : "false";
    } catch (const std::exception& error) {
        return error.what();
    }
}

// A process "sleep <argument>", killed at the end of the scope.
class Sleeper {
 public:
    explicit Sleeper(std::string argument) {
        std::string program = "sleep";
        char* const arguments[] = {program.data(), argument.data(), nullptr};
        posix_spawnp(&id_, "sleep", nullptr, nullptr, arguments, environ);
    }
    ~Sleeper() {
        kill(id_, SIGKILL);
        waitpid(id_, nullptr, 0);
    }
    Sleeper(const Sleeper&) = delete;
    Sleeper(Sleeper&&) = delete;
    Sleeper& operator=(const Sleeper&) = delete;
    Sleeper& operator=(Sleeper&&) = delete;

    [[nodiscard]] pid_t Id() const { return id_; }

 private:
    pid_t id_ = 0;
};

}  // namespace test_support
