// Runs the real tool, once, in a fresh directory.

#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <ostream>

#include <sys/types.h>

#include "tests/support/log_text.h"
#include "tests/support/temp_dir.h"

struct ToolResult {
    int exitStatus = -1;  // -1 when a signal ended the run
    int signal = 0;
    std::string output;  // standard output
    std::string errors;  // standard error
    Lines log;           // as LogLines has it
    bool hasLeftLog = false;
    long peakKilobytes = 0;  // resident set
    std::string command;

    // The lines of the log that begin with `prefix`.
    [[nodiscard]] Lines LogWith(const std::string& prefix) const;
};

// For the messages of failing tests: the command and all that it gave.
std::ostream& operator<<(std::ostream& out, const ToolResult& result);

// Comes back when `holds` is true, or after ten seconds.
void WaitUntil(const std::function<bool()>& holds);

struct ToolRun {
    TempDir directory;  // the working directory of the run; holds nothing but what the test puts in

    // Called in the child before the tool starts, for limits and signals.
    std::function<void()> prepare = [] {};
    // All of it: the tool inherits nothing.
    std::map<std::string, std::string> environment = {
        {"LD_PRELOAD", LOG_WITNESS_PATH},
        {"UBSAN_OPTIONS", "print_stacktrace=1"},
        // A failed allocation answers null, as the system's does, and freed blocks do not pile up.
        {"ASAN_OPTIONS", "verify_asan_link_order=0:allocator_may_return_null=1:quarantine_size_mb=1"}};

    // Runs seamtool with `arguments`, which blanks separate ('' is an empty one), and waits for its end.
    [[nodiscard]] ToolResult operator()(const std::string& arguments) const;

    // For another thread, while a run is under way: sends the tool a signal, false where it is gone; the second, one
    // that it should end by, and after ten seconds one that it cannot help but end by.
    bool Signal(int signal) const;
    void EndBy(int signal) const;

 private:
    mutable std::atomic<pid_t> m_Child = 0;
};
