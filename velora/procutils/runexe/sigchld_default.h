// SigchldDefault: for its scope, the ends of child processes are kept for wait(2).
//
// A process that ignores SIGCHLD never learns how a child ended: its children are reaped by the
// system. The disposition belongs to the whole process, so two of these in two threads can put back
// each other's setting: one at a time.

#pragma once

#include <csignal>

#include "velora/utils/scope_guards.h"

namespace velora::utils::proc {

class SigchldDefault {
 public:
    SigchldDefault() noexcept {
        struct sigaction standard {};
        standard.sa_handler = SIG_DFL;
        sigaction(SIGCHLD, &standard, &m_Previous);
    }
    ~SigchldDefault() {
        const MiscUtils::ScopedErrno keepErrno;
        sigaction(SIGCHLD, &m_Previous, nullptr);
    }
    SigchldDefault(const SigchldDefault&) = delete;
    SigchldDefault(SigchldDefault&&) = delete;
    SigchldDefault& operator=(const SigchldDefault&) = delete;
    SigchldDefault& operator=(SigchldDefault&&) = delete;

 private:
    struct sigaction m_Previous {};
};

}  // namespace velora::utils::proc
