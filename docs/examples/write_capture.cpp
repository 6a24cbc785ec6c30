// Copies the first 64 bytes of every record into a capture that appears whole or not at all.
#include <iostream>

#include <velora/capture/capture_reader.h>
#include <velora/output/capture_writer.h>

int main(int argc, char** argv) {
    if (argc != 3) {
        return 1;
    }
    velora::capture::CaptureReader reader;
    velora::output::CaptureWriter writer(argv[2], {.snapLen = 64});
    if (const auto problem = reader.Open(argv[1])) {
        std::cout << argv[1] << ": " << problem->text << "\n";
        return 1;
    }
    for (const velora::capture::Record& record : reader) {
        writer.Write(record);
    }
    if (reader.GetProblem()) {
        std::cout << argv[1] << ": " << reader.GetProblem()->text << "\n";
    }
    if (const auto outcome = writer.Finish(); !outcome.IsGood()) {
        std::cout << argv[2] << ": " << outcome.text << "\n";
        return 1;
    }
    std::cout << writer.Counts().records << " records, " << writer.Counts().cut << " of them cut\n";
}
