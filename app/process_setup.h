// What the process arranges for itself before it looks at its arguments.
//
// Linked into the tool, this file also opens /dev/null for a standard output or standard error that
// is closed, before the log is made: otherwise the log or the output capture would take its place,
// and receive messages among its lines or records.

#pragma once

// Raises the soft limit of open files to the hard limit: every input stays open for the whole run,
// and thousands of them must not be dropped for want of a descriptor. A refusal leaves the limit.
void RaiseOpenFileLimit();
