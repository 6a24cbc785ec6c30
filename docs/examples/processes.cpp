#include <iostream>

#include <unistd.h>

#include "procutils/pid_file.h"
#include "utils/file_contents.h"

int main() {
    using namespace velora::utils::proc;
    const std::string own = std::to_string(getpid());
    if (!MiscUtils::WriteStringToFile(own, "example.pid")) {  // no newline: it is part of a path
        return 1;
    }
    std::cout << IsPidFileAlive("example.pid") << IsOwnPidFile("example.pid")
              << PidFileMatches("example.pid", "processes") << PidFileMatches("example.pid", "^sh")
              << '\n';
    std::cout << StopProc("example.pid", "not this program") << " stopped\n";
    std::remove("example.pid");
}
// Output:
// 1110
// 0 stopped
