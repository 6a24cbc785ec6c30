#include "tests/support/libpcap_reader.h"

#include <memory>

#include <pcap/pcap.h>

#include "tests/support/capture_builder.h"

std::string RewrittenFromLibpcap(const std::string& path) {
    char openError[PCAP_ERRBUF_SIZE] = "";
    const std::unique_ptr<pcap_t, decltype(&pcap_close)> capture(pcap_open_offline(path.c_str(), openError),
                                                                 pcap_close);
    if (!capture) {
        return openError;
    }
    CaptureBuilder copy;
    copy.LinkType(static_cast<std::uint32_t>(pcap_datalink(capture.get())));
    pcap_pkthdr* header = nullptr;
    const unsigned char* data = nullptr;
    int status = 0;
    while ((status = pcap_next_ex(capture.get(), &header, &data)) == 1) {
        copy.Record(static_cast<std::int32_t>(header->ts.tv_sec), static_cast<std::int32_t>(header->ts.tv_usec),
                    header->caplen, header->len, {reinterpret_cast<const char*>(data), header->caplen});
    }
    return copy.Bytes() + (status == PCAP_ERROR_BREAK ? "" : pcap_geterr(capture.get()));
}
