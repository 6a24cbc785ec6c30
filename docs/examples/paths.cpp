// Words of a text, another working directory, parts of a path, and a search.
#include <iostream>
#include <string>

#include <velora/procutils/find_files.h>
#include <velora/procutils/path_parts.h>
#include <velora/procutils/scoped_cwd.h>
#include <velora/procutils/str_tokenizer.h>
#include <velora/utils/file_tree.h>
#include <velora/utils/temp_file.h>

int main() {
    using namespace velora::utils::proc;
    StrTokenizer("dns.pcap web.pcap notes.txt", " ").ForEach([](const char* name) {
        if (MiscUtils::MakeDirs("day")) {
            const ScopedCWD inside("day");
            MiscUtils::WriteFile("", name);
        }
    });
    int captures = 0;
    FindFiles("day", "\\.pcap$", 0, [&captures](const std::string& path) {
        captures += DirName(path) == "day" && BaseName(path).size() == 8 ? 1 : 0;
    });
    std::cout << captures << " captures\n";
}
