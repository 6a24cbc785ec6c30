// Running a program, without a shell, and collecting what it prints.

#pragma once

#include <string>

#include "velora/utils/api.h"

namespace velora::utils::proc {

// Runs `command` and waits for its end. The command line is divided at blanks, and only there: no
// quoting, and a tab stays inside its argument.
//
// Example:
//     std::string output;
//     if (RunExe("/usr/sbin/setcap cap_net_raw+ep /opt/probe", output) != 0) {
//         report("probe has no rights: " + output);
//     }
//
// Result                    `output`
// 0: the program's status   its standard output
// 1..255: its status        its standard error
// 255: no such program      nothing, and a line in syslog: the program's process was started, and
//                           could not become the program
// -1: killed by a signal    its standard error
// -1: no pipes              "pipe() failed: <error text>"
// -1: no process            "fork() failed: <error text>"
// -1: reading failed        left as it was; the program runs on and is not waited for
//
// Reading fails also when the caller catches a signal meanwhile, and when the pipes get descriptors
// of 1024 or more, which select(2) cannot watch.
//
// The output is text, read in pieces of up to 1023 bytes; from a zero byte to the end of its piece
// all is dropped. What the program leaves in its pipes in its last moments is lost: reading stops
// as soon as the program is known to have ended. So this is for programs that print little, or
// where the status is what matters; RunPopen gets all the output.
//
// A program that closes both its outputs and lives on costs the caller a processor: pipes at their
// end are always ready to be read, so the loop that waits for the program never rests.
//
// SIGCHLD is set to its default for the length of the call: one thread at a time. Descriptors 0, 1
// and 2 have to be open in the caller: a pipe end that became number 0 would not be closed, and one
// that became 1 or 2 would be taken from the program.
VELORA_API int RunExe(const std::string& command, std::string& output);

}  // namespace velora::utils::proc
