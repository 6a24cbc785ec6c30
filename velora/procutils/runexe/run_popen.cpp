#include "velora/procutils/runexe/run_popen.h"

#include <cerrno>
#include <cstdio>
#include <memory>
#include <utility>

#include "velora/procutils/runexe/sigchld_default.h"
#include "velora/utils/errno_text.h"

namespace velora::utils::proc {
namespace {

struct ClosePipe {
    void operator()(std::FILE* pipe) const noexcept { pclose(pipe); }
};

// The most that is taken for one line: a longer one counts as several.
constexpr std::size_t kLineBytes = 1023;

// The next byte, or EOF at the end of the output. A signal that is caught meanwhile is no end: the
// bytes read so far stay in the stream's hands. (fgets() would drop them.)
int NextByte(std::FILE* pipe) {
    int byte = std::fgetc(pipe);
    while (byte == EOF && std::ferror(pipe) != 0 && errno == EINTR) {
        std::clearerr(pipe);
        byte = std::fgetc(pipe);
    }
    return byte;
}

}  // namespace

int RunPopen(const std::string& command, std::string& output) {
    const SigchldDefault childrenWaitForUs;
    std::unique_ptr<std::FILE, ClosePipe> pipe(popen(command.c_str(), "r"));
    if (!pipe) {
        return -1;
    }
    std::string collected;
    std::string line;
    for (int byte = NextByte(pipe.get()); byte != EOF; byte = NextByte(pipe.get())) {
        line += static_cast<char>(byte);
        if (byte == '\n' || line.size() == kLineBytes) {
            collected.append(line, 0, line.find('\0'));
            line.clear();
        }
    }
    collected.append(line, 0, line.find('\0'));
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
