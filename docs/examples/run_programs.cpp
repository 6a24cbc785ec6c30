#include <iostream>

#include "procutils/runexe/run_exe.h"
#include "procutils/runexe/run_popen.h"

int main() {
    std::string output;
    // A program and its arguments, split at blanks; no shell.
    int status = velora::utils::proc::RunExe("expr 6 * 7", output);
    std::cout << status << ' ' << output;
    status = velora::utils::proc::RunExe("ls --no-such-option", output);
    std::cout << status << ' ' << output.substr(0, output.find('\n')) << '\n';
    // A line for the shell; the result is the raw wait status.
    status = velora::utils::proc::RunPopen("echo one two | wc -w; exit 1", output);
    std::cout << status << ' ' << output;
}
// Output:
// 0 42
// 2 ls: unrecognized option '--no-such-option'
// 256 2
