// The writing half of CImpex_Libpcap.

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

#include "velora/impex/impex_libpcap.h"
#include "velora/logging/logger.h"
#include "velora/utils/errno_text.h"

using VeloLogger::GlobalLogger;
namespace Level = VeloLogger::Level;
namespace classic = velora::formats::classic;

bool CImpex_Libpcap::OpenOutput(const std::string& path) {
    const int descriptor = open64(path.c_str(), O_RDWR | O_CREAT | O_TRUNC, S_IRUSR | S_IWUSR);
    if (descriptor < 0) {
        const int error = errno;
        GlobalLogger.Error("Cannot open filtered intermediate output  file : %sError no = %d",
                           path.c_str(), error);
        return false;
    }
    const classic::FileHeader header{.magic = classic::kMagic,
                                     .versionMajor = classic::kVersionMajor,
                                     .versionMinor = classic::kVersionMinor,
                                     .thisZone = 0,
                                     .sigFigs = 0,
                                     .snapLen = classic::kSnapLen,
                                     .linkType = static_cast<std::uint32_t>(m_LinkType)};
    if (write(descriptor, &header, sizeof header) != ssize_t{sizeof header}) {
        GlobalLogger.Error("Cant write pcap file header");
        close(descriptor);
        return false;
    }
    m_OutFd = descriptor;
    return true;
}

bool CImpex_Libpcap::WriteRecord(const PacketHeader* header, std::uint32_t /*headerSize*/,
                                 const std::uint8_t* data, std::uint32_t dataLength) {
    const classic::RecordHeader record{.tsSec = static_cast<std::int32_t>(header->ts.tv_sec),
                                       .tsUsec = static_cast<std::int32_t>(header->ts.tv_usec),
                                       .inclLen = header->caplen,
                                       .origLen = header->len};
    if (!WriteOnce(&record, sizeof record) || !WriteOnce(data, dataLength)) {
        return false;
    }
    m_Packets += 1;
    m_Bytes += header->caplen;
    return true;
}

bool CImpex_Libpcap::WriteOnce(const void* bytes, std::uint32_t count) const {
    if (write(m_OutFd, bytes, count) >= 0) {
        return true;
    }
    const int error = errno;
    *GlobalLogger.Stream(Level::kError)
        << "Write Error to intermediate file : "
        << " Error = " << error << " S = " << MiscUtils::ErrnoText(error).text;
    return false;
}
