#include <iostream>

#include "procutils/find_files.h"
#include "procutils/path_parts.h"
#include "procutils/scoped_cwd.h"
#include "procutils/str_tokenizer.h"

int main() {
    using namespace velora::utils::proc;
    StrTokenizer("  ls   -l  ", " ").ForEach([](const char* word) { std::cout << word << '\n'; });
    std::cout << StrTokenizer("a,,b", ',').Count() << " with the empty one\n";

    const ScopedCWD samples(SAMPLES);  // until the end of the scope
    FindFiles(".", "\\.pcapng$", 0, [](const std::string& path) {
        std::cout << BaseName(path) << " in " << DirName(path) << '\n';
    });
}
// Output:
// ls
// -l
// 3 with the empty one
// dns.pcapng in .
