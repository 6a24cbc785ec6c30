// A file is written, added to, copied and read.
#include <iostream>
#include <stdexcept>

#include <velora/utils/file_contents.h>
#include <velora/utils/path_tests.h>
#include <velora/utils/temp_file.h>

int main() {
    MiscUtils::WriteFile("first\n", "notes.txt");
    if (!MiscUtils::WriteStringToFile("second\n", "notes.txt") ||
        !MiscUtils::CopyFileContents("notes.txt", "copy.txt")) {
        return 1;
    }
    std::cout << MiscUtils::ReadWholeFile("copy.txt") << MiscUtils::GetFileSize("copy.txt")
              << " bytes\n";
    try {
        std::cout << MiscUtils::ReadWholeFile("missing.txt");
    } catch (const std::runtime_error& error) {
        std::cout << error.what() << "\n";
    }
}
