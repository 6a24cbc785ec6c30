// CIOWrap_PcapNG: a pcap-ng file, decoded by libpcap and delivered as classic records.
//
// Each Prefetch makes one packet ready; the two Reads that follow deliver its 16-byte classic
// record header, in the byte order of this machine, and its captured bytes. Times are in
// microseconds, whatever the file's resolution; seconds beyond 32 bits keep their low 32 bits. The
// format is draft-ietf-opsawg-pcapng.

#pragma once

#include <pcap/pcap.h>

#include "velora/formats/classic_format.h"
#include "velora/iowrap/io_wrap.h"
#include "velora/utils/api.h"

class VELORA_API CIOWrap_PcapNG : public CIOWrap {
 public:
    CIOWrap_PcapNG() = default;
    ~CIOWrap_PcapNG() override;
    CIOWrap_PcapNG(const CIOWrap_PcapNG&) = delete;
    CIOWrap_PcapNG& operator=(const CIOWrap_PcapNG&) = delete;

    // `mode` is ignored. On failure GetError() is errno, which says nothing when it was the content
    // that libpcap refused.
    bool Open(const char* path, const char* mode) override;

    // With a header pending: copies its 16 bytes, whatever `count` is. Else with a payload pending:
    // copies the captured bytes, at most `count` of them. Else fails.
    //
    // Close leaves what is pending pending. So after Prefetch, one Read, Close and Open, the next
    // Read succeeds (and leaves the buffer as it is, for the packet is gone): the reader, which
    // then skips 24 bytes of file header, stands before the first packet as with any other variant.
    [[nodiscard]] bool Read(void* buffer, std::uint32_t count) override;

    void Close() override;

    // True when nothing is pending. A damaged file ends like a whole one.
    [[nodiscard]] bool IsEOF() const override;

    // Fetches the next packet. Negative when there is none (-2 at the end, -1 on damage): nothing
    // is pending then.
    std::int32_t Prefetch() override;

 private:
    pcap_t* m_pPcap = nullptr;
    pcap_pkthdr* m_pHeader = nullptr;  // the mark of a pending header; libpcap's memory
    velora::formats::classic::RecordHeader m_Header{};
    const unsigned char* m_pData = nullptr;  // the mark of a pending payload; libpcap's memory
    std::uint32_t m_Available = 0;           // bytes at m_pData: 0 once libpcap has freed them
};
