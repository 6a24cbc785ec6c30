// What no program that does seamtool's work can avoid: reading each record and two writes. No
// choice among inputs, no allocation, no log. Usage: syscall_floor input... output (.gz inputs are
// inflated)

#include <array>
#include <cstdint>
#include <cstdio>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

#include "velora/formats/classic_format.h"

namespace {

namespace classic = velora::formats::classic;

std::array<char, 65536> payload;

void WriteOrStop(int output, const void* bytes, std::size_t count) {
    if (write(output, bytes, count) < 0) {
        std::perror("write");
        _exit(1);
    }
}

template <typename Read>
void Copy(Read read, int output) {
    classic::FileHeader skipped{};
    classic::RecordHeader header{};
    read(&skipped, sizeof skipped);
    while (read(&header, sizeof header) && read(payload.data(), header.inclLen)) {
        WriteOrStop(output, &header, sizeof header);
        WriteOrStop(output, payload.data(), header.inclLen);
    }
}

}  // namespace

int main(int argc, char** argv) {
    const int output = open(argv[argc - 1], O_RDWR | O_CREAT | O_TRUNC, 0600);
    const classic::FileHeader header{classic::kMagic, 2, 4, 0, 0, 65535, 1};
    WriteOrStop(output, &header, sizeof header);
    for (int input = 1; input < argc - 1; ++input) {
        if (std::string_view(argv[input]).ends_with(".gz")) {
            const gzFile file = gzopen64(argv[input], "rb");
            Copy(
                [file](void* to, unsigned n) { return gzread(file, to, n) == static_cast<int>(n); },
                output);
            gzclose(file);
        } else {
            std::FILE* const file = fopen64(argv[input], "rb");
            Copy([file](void* to, unsigned n) { return std::fread(to, n, 1, file) == 1; }, output);
            std::fclose(file);
        }
    }
}
