// What the process arranges for itself before it looks at its arguments.
//
// Linked into the tool, this file also opens /dev/null for a standard output or standard error that
// is closed, before the log is made: otherwise the log or the output capture would take its place,
// and receive messages among its lines or records. In the exact mode standard input is seen to as
// well.

#pragma once

// The arguments ask for the exact mode.
[[nodiscard]] bool IsExact(int argc, char** argv);

// Whether standard output or standard error (in the exact mode standard input too) was closed when
// the process began.
[[nodiscard]] bool WasClosedAtStart(int descriptor);

// Raises the soft limit of open files to the hard limit: every input stays open for the whole run,
// and thousands of them must not be dropped for want of a descriptor. A refusal leaves the limit.
void RaiseOpenFileLimit();
