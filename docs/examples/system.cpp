#include <iostream>
#include <stdexcept>

#include "utils/file_contents.h"
#include "utils/local_datagram.h"
#include "utils/path_tests.h"
#include "utils/temp_file.h"

int main() {
    const std::string path = MiscUtils::MakeTempFile("./example.XXXXXX.conf");
    MiscUtils::WriteFile("level=8\n", path.c_str());
    std::cout << MiscUtils::ReadWholeFile(path);
    std::remove(path.c_str());
    try {
        MiscUtils::SendLocalDatagram("./no-such-socket", "hello");
    } catch (const std::runtime_error& error) {
        std::cout << error.what() << '\n';
    }
}
// Output:
// level=8
// No such file or directory : sendto()
