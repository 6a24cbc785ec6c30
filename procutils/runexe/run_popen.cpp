#include "procutils/runexe/run_popen.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <utility>

#include "procutils/runexe/sigchld_default.h"
#include "utils/errno_text.h"

namespace velora::utils::proc {
namespace {

struct ClosePipe {
    void operator()(std::FILE* pipe) const noexcept { pclose(pipe); }
};

}  // namespace

int RunPopen(const std::string& command, std::string& output) {
    const SigchldDefault childrenWaitForUs;
    std::unique_ptr<std::FILE, ClosePipe> pipe(popen(command.c_str(), "r"));
    if (!pipe) {
        return -1;
    }
    std::string collected;
    std::array<char, 1024> line{};
    while (std::fgets(line.data(), line.size(), pipe.get()) != nullptr) {
        collected += line.data();
    }
    const int status = pclose(pipe.release());
    output = std::move(collected);
    return status;
}

bool RunPopenOrThrow(const std::string& command) {
    std::string output;
    if (RunPopen(command, output) < 0) {
        const int error = errno;
        throw MiscUtils::ErrnoError(error, "RunPopen fail " + command + " stdout=" + output);
    }
    return true;
}

}  // namespace velora::utils::proc
