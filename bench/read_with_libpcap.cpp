// The same with libpcap, which reads what is not compressed: scripts/bench measures it.
#include <cstdint>
#include <iostream>

#include <pcap/pcap.h>

int main(int /*argc*/, char** argv) {
    char why[PCAP_ERRBUF_SIZE];
    pcap_t* const capture = pcap_open_offline(argv[1], why);
    if (capture == nullptr)
        return std::cerr << why << "\n", 1;
    std::uint64_t bytes = 0;
    pcap_pkthdr* header = nullptr;
    const u_char* data = nullptr;
    int result = 0;
    while ((result = pcap_next_ex(capture, &header, &data)) == 1)
        bytes += header->caplen;
    if (result == PCAP_ERROR)
        std::cerr << pcap_geterr(capture) << "\n";
    pcap_close(capture);
    std::cout << bytes << "\n";
}
