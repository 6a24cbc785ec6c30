#include "velora/packet/ip_address.h"

#include <algorithm>

#include <arpa/inet.h>

namespace velora::packet {

std::optional<IpAddress> IpAddress::FromBytes(std::span<const std::uint8_t> bytes) {
    if (bytes.size() != kIpv4Size && bytes.size() != kIpv6Size) {
        return std::nullopt;
    }
    IpAddress address;
    address.m_Size = static_cast<std::uint8_t>(bytes.size());
    std::copy(bytes.begin(), bytes.end(), address.m_Bytes.begin());
    return address;
}

std::optional<IpAddress> IpAddress::Parse(std::string_view text) {
    if (text.find('\0') != std::string_view::npos) {  // what inet_pton would take for the end
        return std::nullopt;
    }
    const std::string terminated(text);
    IpAddress address;
    if (inet_pton(AF_INET, terminated.c_str(), address.m_Bytes.data()) == 1) {
        return address;
    }
    address.m_Size = kIpv6Size;
    if (inet_pton(AF_INET6, terminated.c_str(), address.m_Bytes.data()) == 1) {
        return address;
    }
    return std::nullopt;
}

std::string IpAddress::Text() const {
    char text[INET6_ADDRSTRLEN];
    // Of these families and with this room it cannot fail.
    return inet_ntop(Version() == 4 ? AF_INET : AF_INET6, m_Bytes.data(), text, sizeof text);
}

}  // namespace velora::packet

std::size_t std::hash<velora::packet::IpAddress>::operator()(
    const velora::packet::IpAddress& address) const noexcept {
    const std::span<const std::uint8_t> bytes = address.Bytes();
    return std::hash<std::string_view>()(
        {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}
