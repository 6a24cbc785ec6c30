#include <iostream>

#include "utils/file_contents.h"
#include "utils/path_tests.h"
#include "utils/text_edit.h"

int main() {
    using namespace MiscUtils;
    if (!WriteStringToFile("one\n", "example.txt") || !WriteStringToFile("two\n", "example.txt")) {
        return 1;  // errno says why
    }
    std::string text = ReadWholeFile("example.txt");
    ReplaceAll(text, "\n", "; ");
    std::cout << text << GetFileSize("example.txt") << " bytes\n";
    std::remove("example.txt");
    std::cout << (IsRegularFile("example.txt") ? "still there\n" : "gone\n");
}
// Output:
// one; two; 8 bytes
// gone
