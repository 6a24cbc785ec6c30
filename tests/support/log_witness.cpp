// Preloaded into the tool by the command-line tests: lets the link that SEAMTOOL_LOG_WITNESS names point
// to its log, whose path is made from a template and therefore unknown; and sends the process the signal
// of the number SEAMTOOL_LOG_SIGNAL, if there is one, when the log has just been made. Changes nothing
// else, and makes no call that the fault injector could let fail.

#include <csignal>
#include <cstdlib>

#include <dlfcn.h>
#include <unistd.h>

extern "C" int mkstemp(char* pathTemplate) {
    using Mkstemp = int (*)(char*);
    static const auto kSystems = reinterpret_cast<Mkstemp>(dlsym(RTLD_NEXT, "mkstemp"));
    const int descriptor = kSystems(pathTemplate);
    if (const char* const witness = std::getenv("SEAMTOOL_LOG_WITNESS")) {
        static_cast<void>(!symlink(pathTemplate, witness));  // the first, which is the log's, and no other
    }
    if (const char* const signal = std::getenv("SEAMTOOL_LOG_SIGNAL")) {
        std::raise(std::atoi(signal));
    }
    return descriptor;
}
