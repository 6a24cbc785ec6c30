// Copies the records of a capture that are longer than 100 bytes on the wire.
#include <cstdint>
#include <iostream>

#include <velora/impex/impex_libpcap.h>

int main(int argc, char** argv) {
    CImpex_Libpcap input;
    if (argc != 3 || !input.OpenInput(argv[1])) {
        return 1;
    }
    CImpex_Libpcap output(static_cast<std::uint32_t>(input.GetLinkType()));
    if (!output.OpenOutput(argv[2])) {
        return 1;
    }
    PacketHeader* nextHeader = nullptr;
    std::uint8_t* nextData = nullptr;
    while (input.ReadNext(&nextHeader, &nextData)) {
        const velora::impex::HeaderBlock header(
            nextHeader);  // both blocks are released with these owners
        const velora::impex::DataBlock data(nextData);
        if (header->len > 100) {
            output.WriteRecord(header.get(), sizeof *header, data.get(), header->caplen);
        }
    }
    std::cout << output.m_Packets << " of " << input.m_Packets << " records\n";
}
