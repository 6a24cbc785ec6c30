// Reads a capture from memory, and from a socket while it is being sent.
#include <iostream>
#include <string>
#include <thread>

#include <sys/socket.h>
#include <unistd.h>
#include <velora/capture/capture_reader.h>
#include <velora/utils/file_contents.h>

using velora::capture::ByteSource;
using velora::capture::CaptureReader;
using velora::capture::Record;

namespace {

void Show(const char* about, const ByteSource& source) {
    CaptureReader reader;
    // Each record as soon as it is there: this matters where the sender takes its time.
    if (const auto problem = reader.Open(source, {.givesAtOnce = true})) {
        std::cout << about << ": " << problem->text << "\n";
        return;
    }
    std::size_t records = 0;
    std::int64_t latest = 0;
    for (const Record& record : reader) {
        records += 1;
        latest = std::max(latest, record.time);
    }
    std::cout << about << ": " << NameOf(reader.Traits().format) << ", " << records
              << " records, the last at " << latest << " ns\n";
}

}  // namespace

int main(int argc, char** argv) {
    int ends[2];
    if (argc != 2 || socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) {
        return 1;
    }
    const std::string bytes = MiscUtils::ReadWholeFile(argv[1]);
    Show("memory", ByteSource::Memory(bytes));

    std::jthread sender([&] {
        for (std::size_t sent = 0; sent < bytes.size(); sent += 100) {
            send(ends[0], &bytes[sent], std::min<std::size_t>(100, bytes.size() - sent), 0);
        }
        close(ends[0]);
    });
    Show("socket", ByteSource::Descriptor(ends[1]));
    close(ends[1]);
}
