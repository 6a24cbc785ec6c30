#include <cstdio>

#include "impex/impex_libpcap.h"
#include "impex/time_ordered_merge.h"

int main() {
    MergeJob job("example.pcap", {SAMPLES "/web.pcap", SAMPLES "/dns.pcapng"});
    if (!Merge(job)) {
        return 1;  // the log says why
    }
    CImpex_Libpcap input;
    PacketHeader* header = nullptr;
    std::uint8_t* data = nullptr;
    if (input.OpenInput(job.outputPath) && input.ReadNext(&header, &data)) {
        const HeaderBlock ownedHeader(header);  // give the two blocks back
        const DataBlock ownedData(data);
        std::printf("%lu records, the first of %u bytes\n", job.packetsWritten, header->caplen);
    }
    std::remove("example.pcap");
}
// Output:
// 326 records, the first of 74 bytes
