// Runs the real tool, once, in a fresh directory.

#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/temp_dir.h"

struct ToolResult {
    int exitStatus = -1;  // -1 when a signal ended the run
    int signal = 0;
    std::string output;            // standard output
    std::string errors;            // standard error
    std::vector<std::string> log;  // as LogLines has it
    long peakKilobytes = 0;        // resident set
    std::string command;

    // The lines of the log that begin with `prefix`.
    [[nodiscard]] std::vector<std::string> LogWith(const std::string& prefix) const;
};

// For the messages of failing tests: the command and all that it gave.
std::ostream& operator<<(std::ostream& out, const ToolResult& result);

struct ToolRun {
    TempDir directory;  // the working directory of the run; holds nothing but what the test puts in

    // Called in the child before the tool starts, for limits and signals; only system calls.
    std::function<void()> prepare;
    // Called in the parent with the process id while the tool runs.
    std::function<void(int)> whileRunning;
    // Extra environment, "NAME=value".
    std::vector<std::string> environment;

    // Runs seamtool with `arguments` and waits for its end.
    [[nodiscard]] ToolResult operator()(const std::vector<std::string>& arguments) const;
};
