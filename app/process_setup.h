// What the process arranges for itself before it looks at its arguments.
//
// Linked into the tool, this file also acts before the log is made. For a standard output or
// standard error that is closed it opens something else: otherwise the log or the output capture
// would take its place, and receive messages among its lines or records. In the exact mode standard
// input is seen to as well, and the signals that end the process wait until it can end tidily.

#pragma once

#include <csignal>
#include <string>

// The arguments ask for the exact mode.
[[nodiscard]] bool IsExact(int argc, char** argv);

// Whether standard output or standard error (in the exact mode standard input too) was closed when
// the process began.
[[nodiscard]] bool WasClosedAtStart(int descriptor);

// In the exact mode: the standard descriptor that was closed when the process began and that this
// path leads to, as /dev/stdout, /proc/self/fd/1 or a link to them do; else -1.
[[nodiscard]] int ClosedDescriptorAt(const std::string& path);

// Raises the soft limit of open files to the hard limit: every input stays open for the whole run,
// and thousands of them must not be dropped for want of a descriptor. A refusal leaves the limit.
void RaiseOpenFileLimit();

// What a person or the system sends to end a process.
inline constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

// In the exact mode: lets these signals through again, but for those that were blocked when the
// process began. What came meanwhile comes now.
void LetEndingSignalsThrough();
