// Preloaded into the tool by the command-line tests: notes the path of its log, which is made from
// a template and therefore unknown, in the file that SEAMTOOL_LOG_WITNESS names. Changes nothing
// else.

#include <cstdio>
#include <cstdlib>

#include <dlfcn.h>

extern "C" int mkstemp(char* pathTemplate) {
    using Mkstemp = int (*)(char*);
    static const auto kSystems = reinterpret_cast<Mkstemp>(dlsym(RTLD_NEXT, "mkstemp"));
    const int descriptor = kSystems(pathTemplate);
    if (const char* const witness = std::getenv("SEAMTOOL_LOG_WITNESS")) {
        if (std::FILE* const file = std::fopen(witness, "w")) {
            std::fputs(pathTemplate, file);
            std::fclose(file);
        }
    }
    return descriptor;
}
