// Counts the records of captures of any format and compression.
#include <cstdint>
#include <iostream>

#include "velora/capture/capture_reader.h"

int main(int argc, char** argv) {
    for (int index = 1; index < argc; ++index) {
        velora::capture::CaptureReader reader(argv[index]);
        std::uint64_t records = 0;
        std::uint64_t bytes = 0;
        while (const velora::capture::Record* record = reader.Next()) {
            records += 1;
            bytes += record->capturedLength;
        }
        std::cout << argv[index] << ": " << records << " records, " << bytes << " bytes\n";
        if (reader.GetProblem()) {
            std::cout << argv[index] << ": " << reader.GetProblem()->text << "\n";
        }
    }
}
