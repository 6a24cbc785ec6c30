// CImpex_Libpcap: one capture file, either read or written.
//
// Reading: classic files of either byte order, pcap-ng, and gzip or bzip2 of classic files, told
// apart by the suffix of the path and the magic number. Writing: a classic little-endian file with
// microseconds (velora/formats/classic_format.h).
//
//     CImpex_Libpcap input;
//     if (input.OpenInput("a.pcap.gz")) {
//         PacketHeader* header;
//         std::uint8_t* data;
//         while (input.ReadNext(&header, &data)) {
//             velora::impex::HeaderBlock ownedHeader(header);
//             velora::impex::DataBlock ownedData(data);
//             ...
//
// Every failure is a false result and a line of VeloLogger::GlobalLogger; nothing is thrown but
// std::bad_alloc for the object's own small needs. An object serves one file and one thread; its
// record blocks may be released on any thread.

#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "velora/formats/classic_format.h"
#include "velora/impex/packet_header.h"
#include "velora/iowrap/io_wrap.h"
#include "velora/utils/api.h"

class VELORA_API CImpex_Libpcap {
 public:
    // For reading, or for an output that declares Ethernet.
    CImpex_Libpcap() : CImpex_Libpcap(velora::formats::classic::kLinkTypeEthernet) {}
    // For an output that declares `linkType`.
    explicit CImpex_Libpcap(std::uint32_t linkType);
    // Closes the input and the output.
    virtual ~CImpex_Libpcap();
    CImpex_Libpcap(const CImpex_Libpcap&) = delete;
    CImpex_Libpcap& operator=(const CImpex_Libpcap&) = delete;

    // Opens `path` and stands before its first record. The stream layer follows from the end of the
    // path alone, in lower case: .bz2 or .bzip2, .gz, else plain. Refused are: files without a
    // whole global header; any magic number but that of classic microsecond files and of pcap-ng;
    // link types other than 0, 1, 12, 101 and 113 (pcap-ng counts as 1 whatever it declares); and
    // files whose first record is implausible or longer than 16383 bytes. A file without records
    // passes.
    //
    // On false the stream stays attached until CloseInput or destruction. Opening a second time
    // without CloseInput gives up the first stream without closing it.
    [[nodiscard]] virtual bool OpenInput(const std::string& path);

    // Closes the input, if any. The counters stay.
    virtual void CloseInput();

    // The next record in file order. On true, *header and *data are blocks that now belong to the
    // caller: 24 bytes, and (*header)->caplen bytes. False at the end of the input and on an error,
    // which differ by the log line only; *header and *data are then untouched. A record may claim
    // any captured length: what cannot be allocated is a failed read whose error is out of memory.
    [[nodiscard]] virtual bool ReadNext(PacketHeader** header, std::uint8_t** data);

    // Consumes one 16-byte record header, not the payload, and returns its timestamp: seconds in
    // the low 32 bits, microseconds in the high. All ones when it cannot be read. Fetches no packet
    // of a pcap-ng file.
    [[nodiscard]] virtual std::uint64_t ReadRecordTimestamp();

    // Creates or truncates `path` (mode 0600) and writes the global header. To be called once.
    [[nodiscard]] bool OpenOutput(const std::string& path);

    // Appends one record to the opened output, unbuffered: one write of the 16-byte header, one of
    // `dataLength` bytes of `data`. `headerSize` is not used; callers pass sizeof(PacketHeader),
    // and the header's caplen as `dataLength`. Times are cut to 32 bits. Both blocks stay the
    // caller's.
    //
    // False only when a write reports an error; what was written before it stays in the file. A
    // short write counts as success: on a full disk the next write reports the error.
    bool WriteRecord(const PacketHeader* header, std::uint32_t headerSize, const std::uint8_t* data,
                     std::uint32_t dataLength);

    // Of the input once OpenInput has read it (also when it then refused it), else of the
    // constructor.
    [[nodiscard]] std::int32_t GetLinkType() const { return m_LinkType; }

 private:
    bool OpenPcapNg(const std::string& path);
    bool CheckLinkType() const;
    bool CheckFirstRecord();
    void Rewind(const std::string& path);
    bool ReadRecordHeader(velora::formats::classic::RecordHeader& header);
    bool ReadPayload(velora::impex::DataBlock& data, std::uint32_t length);
    bool WriteOnce(const void* bytes, std::uint32_t count) const;

    std::int32_t m_LinkType;
    bool m_Swap = false;  // the input is a classic file of the other byte order
    std::unique_ptr<CIOWrap> m_pIOWrap;
    std::int32_t m_OutFd = 0;  // 0: no output

 public:
    // Records read or written, and the sum of their captured lengths, over the object's life.
    std::uint64_t m_Packets = 0;
    std::uint64_t m_Bytes = 0;
};
