// What a program writes to go through a capture with this library: scripts/bench measures it.
#include <iostream>

#include <velora/capture/capture_reader.h>

int main(int /*argc*/, char** argv) {
    velora::capture::CaptureReader reader;
    std::uint64_t bytes = 0;
    if (const auto problem = reader.Open(argv[1]))
        return std::cerr << problem->text << "\n", 1;
    for (const auto& record : reader)
        bytes += record.capturedLength;
    if (reader.GetProblem())
        std::cerr << reader.GetProblem()->text << "\n";
    std::cout << bytes << "\n";
}
