#include <iostream>

#include "utils/file_contents.h"
#include "utils/file_tree.h"
#include "utils/path_tests.h"

int main() {
    using namespace MiscUtils;
    if (!MakeDirs("example/in/deep") || !WriteStringToFile("x", "example/in/deep/a.pcap")) {
        return 1;
    }
    MoveOrCopy("example/in", "example/out");  // copies and deletes where file systems differ
    std::cout << IsDirectory("example/in") << IsRegularFile("example/out/deep/a.pcap") << '\n';
    Delete("example");
    try {
        Move("example", "elsewhere", nullptr);  // a missing source is no error
        std::cout << CanonicalPath("example") << '\n';
    } catch (const std::domain_error& error) {
        std::cout << "refused\n";
    }
}
// Output:
// 01
// refused
