// A program is started in the background, found by its pid file, and stopped.
#include <iostream>
#include <string>

#include <sys/wait.h>
#include <velora/procutils/pid_file.h>
#include <velora/procutils/runexe/spawn_exe.h>
#include <velora/utils/temp_file.h>

int main() {
    using namespace velora::utils::proc;
    const int id = SpawnExe("sleep 30");
    MiscUtils::WriteFile(std::to_string(id), "sleep.pid");  // without a line end: it is to match

    std::cout << "alive: " << IsPidFileAlive("sleep.pid") << "\n"
              << "another program: " << StopProc("sleep.pid", "^collector") << "\n"
              << "stopped: " << StopProc("sleep.pid", "^sleep") << "\n";
    waitpid(id, nullptr, 0);
    std::cout << "alive: " << IsPidFileAlive("sleep.pid") << "\n";
}
