// The reading half of CImpex_Libpcap.

#include <cerrno>
#include <string_view>

#include <tbb/scalable_allocator.h>
#include <unistd.h>

#include "velora/impex/impex_libpcap.h"
#include "velora/iowrap/bzip2_stream.h"
#include "velora/iowrap/gzip_stream.h"
#include "velora/iowrap/pcapng_stream.h"
#include "velora/iowrap/plain_stream.h"
#include "velora/logging/logger.h"
#include "velora/utils/errno_text.h"

using MiscUtils::ErrnoText;
using VeloLogger::GlobalLogger;
namespace Level = VeloLogger::Level;
namespace classic = velora::formats::classic;
using classic::FileHeader;

namespace {

constexpr std::uint64_t kNoTimestamp = ~std::uint64_t{0};
constexpr std::int32_t kLargestUsec = 1000000;  // one more than any valid value
constexpr std::uint32_t kLargestCapturedLength = 65535;
constexpr std::uint32_t kLargestFirstRecord = 16383;

// Longer than the suffix, so that a file called just ".gz" is plain.
bool HasSuffix(std::string_view path, std::string_view suffix) {
    return path.size() > suffix.size() && path.ends_with(suffix);
}

std::unique_ptr<CIOWrap> MakeStream(const std::string& path) {
    if (HasSuffix(path, ".bz2") || HasSuffix(path, ".bzip2")) {
        return std::make_unique<CIOWrap_BZip2>();
    }
    if (HasSuffix(path, ".gz")) {
        return std::make_unique<CIOWrap_GZip>();
    }
    return std::make_unique<CIOWrap_Plain>();
}

void LogStreamError(const char* what, const std::string& path, int error) {
    *GlobalLogger.Stream(Level::kError) << what << path << " error = " << ErrnoText(error).text;
}

}  // namespace

CImpex_Libpcap::CImpex_Libpcap(std::uint32_t linkType)
    : m_LinkType(static_cast<std::int32_t>(linkType)) {}

CImpex_Libpcap::~CImpex_Libpcap() {
    CImpex_Libpcap::CloseInput();
    if (m_OutFd != 0) {
        close(m_OutFd);
    }
}

void CImpex_Libpcap::CloseInput() {
    if (m_pIOWrap) {
        m_pIOWrap->Close();
        m_pIOWrap.reset();
    }
}

bool CImpex_Libpcap::OpenInput(const std::string& path) {
    static_cast<void>(m_pIOWrap.release());  // a stream that was not closed is given up, not closed
    m_pIOWrap = MakeStream(path);
    if (!m_pIOWrap->Open(path.c_str(), "rb")) {
        LogStreamError("Cant Open dump file ", path, m_pIOWrap->GetError());
        return false;
    }
    FileHeader header{};
    if (!m_pIOWrap->Read(&header, sizeof header)) {
        GlobalLogger.Error("Cant read pcap header");
        return false;
    }
    switch (header.magic) {
        case classic::kMagic:
            GlobalLogger.Info("Playing Little Endian (Most common type)  TCP Dump file");
            m_Swap = false;
            break;
        case classic::kMagicSwapped:
            GlobalLogger.Info("Playing Big Endian TCP Dump file");
            m_Swap = true;
            header = Swapped(header);
            break;
        case classic::kMagicPcapNg:
            GlobalLogger.Info("Found a PCAP NG file - Switching IOWrap to PCAPNG");
            m_Swap = false;
            header.linkType = classic::kLinkTypeEthernet;  // whatever the file declares
            if (!OpenPcapNg(path)) {
                return false;
            }
            break;
        default:
            GlobalLogger.Error("Unrecognized PCAP file format, bad magic number 0x%x : %s",
                               header.magic, path.c_str());
            return false;
    }
    m_LinkType = static_cast<std::int32_t>(header.linkType);
    if (!CheckLinkType() || !CheckFirstRecord()) {
        return false;
    }
    Rewind(path);
    return true;
}

bool CImpex_Libpcap::OpenPcapNg(const std::string& path) {
    m_pIOWrap = std::make_unique<CIOWrap_PcapNG>();
    if (!m_pIOWrap->Open(path.c_str(), "rb")) {
        LogStreamError("Cant Open dump PCAP NG file ", path, m_pIOWrap->GetError());
        return false;
    }
    return true;
}

bool CImpex_Libpcap::CheckLinkType() const {
    switch (m_LinkType) {
        case 0:    // BSD loopback
        case 1:    // Ethernet
        case 12:   // raw IP
        case 101:  // raw IP
        case 113:  // Linux cooked capture
            return true;
        default:
            GlobalLogger.Error("Unsupported link type found %d (must be ip,ethernet,linuxsll)",
                               m_LinkType);
            return false;
    }
}

bool CImpex_Libpcap::CheckFirstRecord() {
    m_pIOWrap->Prefetch();
    classic::RecordHeader first{};
    if (!ReadRecordHeader(first)) {
        return true;  // no record to be found implausible
    }
    int code = 0;
    if (first.inclLen > first.origLen) {
        code = 1;
    } else if (first.tsSec < 0 || first.tsUsec > kLargestUsec) {
        code = 2;
    } else if (first.inclLen > kLargestCapturedLength) {
        code = 3;
    } else if (first.origLen > kLargestFirstRecord || first.inclLen > kLargestFirstRecord) {
        code = 4;
    }
    if (code != 0) {
        GlobalLogger.Error("Corrupted PCAP file (Code %d)", code);
    }
    return code == 0;
}

void CImpex_Libpcap::Rewind(const std::string& path) {
    m_pIOWrap->Close();
    m_pIOWrap->Open(path.c_str(), "rb");  // a failure shows in the read
    FileHeader skipped{};
    if (!m_pIOWrap->Read(&skipped, sizeof skipped)) {
        GlobalLogger.Warn("Set position at 1st packet past file header");
    }
}

bool CImpex_Libpcap::ReadRecordHeader(classic::RecordHeader& header) {
    if (!m_pIOWrap->Read(&header, sizeof header)) {
        return false;
    }
    if (m_Swap) {
        header = Swapped(header);
    }
    return true;
}

bool CImpex_Libpcap::ReadPayload(velora::impex::DataBlock& data, std::uint32_t length) {
    data.reset(static_cast<std::uint8_t*>(scalable_malloc(length)));
    int error = ENOMEM;
    if (data) {
        if (m_pIOWrap->Read(data.get(), length)) {
            return true;
        }
        if (m_pIOWrap->IsEOF()) {
            GlobalLogger.Debug("Offline : Finished with current pcap file");
            return false;
        }
        error = m_pIOWrap->GetError();
    }
    LogStreamError("Error reading pcap payload  ", "", error);
    return false;
}

bool CImpex_Libpcap::ReadNext(PacketHeader** header, std::uint8_t** data) {
    if (!m_pIOWrap) {
        return false;
    }
    m_pIOWrap->Prefetch();
    classic::RecordHeader record{};
    if (!ReadRecordHeader(record)) {
        if (m_pIOWrap->IsEOF()) {
            *GlobalLogger.Stream(Level::kInfo) << "Reached EOF for this IOW "
                                               << " pkts=" << m_Packets << ",bytes=" << m_Bytes;
        } else {
            LogStreamError("Error reading pcap header ", "", m_pIOWrap->GetError());
        }
        return false;
    }
    velora::impex::DataBlock payload;
    if (!ReadPayload(payload, record.inclLen)) {
        return false;
    }
    auto* const block = static_cast<PacketHeader*>(scalable_malloc(sizeof(PacketHeader)));
    if (block == nullptr) {
        LogStreamError("Error reading pcap payload  ", "", ENOMEM);
        return false;
    }
    *block = {.ts = {.tv_sec = record.tsSec, .tv_usec = record.tsUsec},
              .caplen = record.inclLen,
              .len = record.origLen};
    *header = block;
    *data = payload.release();
    m_Packets += 1;
    m_Bytes += record.inclLen;
    return true;
}

std::uint64_t CImpex_Libpcap::ReadRecordTimestamp() {
    classic::RecordHeader record{};
    if (!m_pIOWrap || !ReadRecordHeader(record)) {
        return kNoTimestamp;
    }
    return static_cast<std::uint64_t>(static_cast<std::uint32_t>(record.tsUsec)) << 32 |
           static_cast<std::uint32_t>(record.tsSec);
}
