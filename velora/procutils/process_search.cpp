#include "velora/procutils/process_search.h"

#include <cerrno>
#include <cstdlib>

#include "velora/procutils/runexe/run_popen.h"
#include "velora/procutils/str_tokenizer.h"
#include "velora/utils/errno_text.h"
#include "velora/utils/path_tests.h"

namespace velora::utils::proc {
namespace {

const char* const kPgrep = "/usr/bin/pgrep";

std::string SearchFor(const std::string& pattern) {
    return std::string(kPgrep) + " -f " + pattern;
}

}  // namespace

bool Pgrep(const std::string& pattern, const std::function<void(int)>& callback) {
    if (!MiscUtils::IsRegularFile(kPgrep)) {
        return false;
    }
    const std::string command = SearchFor(pattern);
    std::string output;
    if (RunPopen(command, output) < 0) {
        const int error = errno;
        throw MiscUtils::ErrnoError(error,
                                    "RunPopen fail for pgrep " + command + " stdout=" + output);
    }
    StrTokenizer(output.c_str(), " ").ForEach([&callback](const char* ids) {
        callback(static_cast<int>(std::strtol(ids, nullptr, 10)));
    });
    return true;
}

bool IsProcRunning(const std::string& pattern) {
    std::string output;
    return MiscUtils::IsRegularFile(kPgrep) && RunPopen(SearchFor(pattern), output) >= 0 &&
           !output.empty();
}

}  // namespace velora::utils::proc
