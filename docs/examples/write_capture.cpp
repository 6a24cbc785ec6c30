// Copies the first 64 bytes of every record of the first link type into a capture that appears
// whole or not at all.
#include <algorithm>
#include <csignal>
#include <cstdint>
#include <iostream>
#include <string>

#include "velora/capture/capture_reader.h"
#include "velora/output/block_writer.h"
#include "velora/output/output_file.h"
#include "velora/output/record_encoder.h"

using namespace velora::capture;
using namespace velora::codec;
using namespace velora::output;

namespace {

constexpr std::uint32_t kMostBytes = 64;

OutputOutcome WriteBeginnings(CaptureReader& reader, OutputFile& output) {
    const Record* record = reader.Next();  // tells what the capture is like
    const RecordEncoder encoder(RecordEncoder::Unit::kNanoseconds);
    BlockWriter writer(output);  // writes in a thread of its own
    const std::uint32_t linkType = reader.Traits().linkType.value_or(1);
    // What is known of frame check sequences stands above the link type.
    const std::uint32_t linkTypeField = linkType | reader.Traits().fcsBits;
    bool isGood = writer.Append(encoder.EncodeFileHeader(kMostBytes, linkTypeField));
    for (; isGood && record != nullptr; record = reader.Next()) {
        if (record->interface->linkType != linkType) {
            continue;  // a classic capture holds one link type, a pcap-ng capture any number
        }
        const std::uint32_t length = std::min(record->capturedLength, kMostBytes);
        // A time that the file cannot hold becomes the nearest that it can, and this would tell.
        static_cast<void>(
            encoder.EncodeHeader(writer.Reserve(), record->time, length, record->originalLength));
        isGood = writer.Commit(RecordEncoder::kHeaderSize) &&
                 writer.Append(record->Bytes().first(length));
    }
    return writer.Finish();  // tells what became of all writes, and lets the file appear
}

OutputOutcome CopyBeginnings(const std::string& from, const std::string& to) {
    OutputFile output;
    OutputOutcome outcome = output.Prepare(to);
    if (outcome.IsGood()) {
        outcome = output.Open();
    }
    if (outcome.IsGood()) {
        CaptureReader reader;
        static_cast<void>(reader.Open(from));
        outcome = WriteBeginnings(reader, output);
    }
    return outcome;
}

}  // namespace

int main(int argc, char** argv) {
    std::signal(SIGPIPE, SIG_IGN);  // a reader that leaves a pipe shows as an outcome
    if (argc != 3) {
        return 1;
    }
    for (const char* const round : {"first", "second"}) {
        const OutputOutcome outcome = CopyBeginnings(argv[1], argv[2]);
        std::cout << round << ": " << (outcome.IsGood() ? "written" : outcome.text) << "\n";
    }
    std::uint64_t records = 0;
    CaptureReader reader;
    static_cast<void>(reader.Open(argv[2]));
    for ([[maybe_unused]] const Record& record : reader) {
        records += 1;
    }
    std::cout << records << " records\n";
}
