// A tree is made, copied, moved and deleted.
#include <iostream>
#include <stdexcept>
#include <string>

#include <velora/utils/file_tree.h>
#include <velora/utils/path_tests.h>
#include <velora/utils/temp_file.h>

int main() try {
    if (!MiscUtils::MakeDirs("captures/monday")) {
        return 1;
    }
    MiscUtils::WriteFile("records", "captures/monday/a.pcap");

    int files = 0;
    MiscUtils::CopyDir("captures", "backup", [&files](const std::string&) { ++files; });
    std::cout << files << " copied\n";
    MiscUtils::MoveOrCopy("captures/monday/a.pcap", "backup/b.pcap");
    std::cout << MiscUtils::GetFileSize("backup/b.pcap") << " bytes moved\n";
    MiscUtils::Delete("captures");
    std::cout << "captures " << (MiscUtils::IsDirectory("captures") ? "stays" : "is gone") << "\n";
} catch (const std::domain_error& error) {
    std::cerr << error.what() << "\n";
    return 1;
}
