// One program without a shell, and one command line with it.
#include <iostream>
#include <string>

#include <sys/wait.h>
#include <velora/procutils/runexe/run_exe.h>
#include <velora/procutils/runexe/run_popen.h>

int main() {
    using namespace velora::utils::proc;
    std::string output;
    std::cout << "true: " << RunExe("true", output) << "\n";
    std::cout << "false: " << RunExe("false", output) << "\n";

    const int status = RunPopen("printf 'one two' | wc -w; exit 3", output);
    if (!WIFEXITED(status)) {
        return 1;
    }
    std::cout << "words: " << output << "status: " << WEXITSTATUS(status) << "\n";
}
