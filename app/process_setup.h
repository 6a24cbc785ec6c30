// What the process arranges for itself before it looks at its arguments.

#pragma once

// Opens /dev/null for each of the descriptors 0 to 2 that is closed: otherwise the output capture
// could become the standard error and receive messages among its records.
void ReserveStandardDescriptors();

// Raises the soft limit of open files to the hard limit: every input stays open for the whole run,
// and thousands of them must not be dropped for want of a descriptor. A refusal leaves the limit.
void RaiseOpenFileLimit();
