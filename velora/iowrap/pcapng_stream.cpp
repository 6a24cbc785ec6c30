#include "velora/iowrap/pcapng_stream.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

CIOWrap_PcapNG::~CIOWrap_PcapNG() {
    CIOWrap_PcapNG::Close();
}

bool CIOWrap_PcapNG::Open(const char* path, const char* /*mode*/) {
    std::array<char, PCAP_ERRBUF_SIZE> errorText{};
    m_pPcap = pcap_open_offline(path, errorText.data());
    if (m_pPcap == nullptr) {
        m_Error = errno;
        m_ErrorText = errorText.data();
        return false;
    }
    return true;
}

std::int32_t CIOWrap_PcapNG::Prefetch() {
    const int status =
        m_pPcap != nullptr ? pcap_next_ex(m_pPcap, &m_pHeader, &m_pData) : PCAP_ERROR;
    if (status < 0) {
        m_pHeader = nullptr;
        m_pData = nullptr;
        m_Available = 0;
        return status;
    }
    m_Header = {static_cast<std::int32_t>(m_pHeader->ts.tv_sec),
                static_cast<std::int32_t>(m_pHeader->ts.tv_usec), m_pHeader->caplen,
                m_pHeader->len};
    m_Available = m_pHeader->caplen;
    return status;
}

bool CIOWrap_PcapNG::Read(void* buffer, std::uint32_t count) {
    if (m_pHeader != nullptr) {
        std::memcpy(buffer, &m_Header, sizeof m_Header);
        m_pHeader = nullptr;
        return true;
    }
    if (m_pData != nullptr) {
        std::memcpy(buffer, m_pData, std::min(count, m_Available));
        m_pData = nullptr;
        return true;
    }
    return false;
}

void CIOWrap_PcapNG::Close() {
    if (m_pPcap != nullptr) {
        pcap_close(m_pPcap);
        m_pPcap = nullptr;
    }
    m_Available = 0;
}

bool CIOWrap_PcapNG::IsEOF() const {
    return m_pData == nullptr && m_pHeader == nullptr;
}
