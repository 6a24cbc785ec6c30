// Runs a fuzz target over stored inputs: all files in the directories given. A directory that is
// not there counts as empty; without any file at all the replay fails.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
    LLVMFuzzerInitialize(&argc, &argv);
    int files = 0;
    for (const std::string& directory : std::vector<std::string>(argv + 1, argv + argc)) {
        std::error_code missing;
        for (const auto& entry : std::filesystem::directory_iterator(directory, missing)) {
            std::fprintf(stderr, "replay: %s\n", entry.path().c_str());
            std::ifstream file(entry.path(), std::ios::binary);
            const std::string bytes(std::istreambuf_iterator<char>(file), {});
            // A block of the input's own size: what reads past it is seen.
            const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
            LLVMFuzzerTestOneInput(input.data(), input.size());
            ++files;
        }
    }
    std::fprintf(stderr, "replay: %d inputs\n", files);
    return files > 0 ? 0 : 1;
}
