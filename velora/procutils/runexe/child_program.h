// ChildProgram: the program that a child process is about to become.
//
// Made before fork(), because between fork() and exec a child of a process with threads may not
// allocate (nor does this class there); used once, behind it, in the child.

#pragma once

#include <string>
#include <vector>

namespace velora::utils::proc {

class ChildProgram {
 public:
    // Divides `command` at blanks, and at nothing else: tabs and quotation marks stay in the
    // arguments. The first word is the program, looked for along PATH.
    explicit ChildProgram(const std::string& command);

    ChildProgram(const ChildProgram&) = delete;
    ChildProgram(ChildProgram&&) = delete;
    ChildProgram& operator=(const ChildProgram&) = delete;
    ChildProgram& operator=(ChildProgram&&) = delete;
    ~ChildProgram() = default;

    // Becomes the program. When that fails (a command without words counts as a program that does
    // not exist), writes "velora execve : failed after fork() err= <error text>" to syslog at
    // LOG_ERR and ends the process with status 255, past exit handlers and stdio buffers: those are
    // the parent's.
    [[noreturn]] void ExecOrExit() const noexcept;

 private:
    std::vector<std::string> m_Words;
    std::vector<char*> m_Arguments;  // into m_Words, and a null
};

}  // namespace velora::utils::proc
