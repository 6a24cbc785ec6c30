// Counts the records of captures of any format and compression.
#include <cstdint>
#include <iostream>

#include <velora/capture/capture_reader.h>

int main(int argc, char** argv) {
    for (int index = 1; index < argc; ++index) {
        velora::capture::CaptureReader reader;
        if (const auto problem = reader.Open(argv[index])) {
            std::cout << argv[index] << ": " << problem->text << "\n";
            continue;
        }
        std::uint64_t records = 0;
        std::uint64_t bytes = 0;
        for (const velora::capture::Record& record : reader) {
            records += 1;
            bytes += record.capturedLength;
        }
        std::cout << argv[index] << ": " << records << " records, " << bytes << " bytes\n";
        if (reader.GetProblem()) {
            std::cout << argv[index] << ": " << reader.GetProblem()->text << "\n";
        }
    }
}
