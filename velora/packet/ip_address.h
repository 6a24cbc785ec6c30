// IpAddress: an IPv4 or IPv6 address, a small value that can be compared, hashed and shown.
//
// Example:
//     std::unordered_map<IpAddress, std::uint64_t> bytesOf;
//     bytesOf[packet->source] += record.originalLength;
//     std::cout << packet->source.Text() << '\n';  // "192.168.7.2", "2001:db8::1"
//
// An IPv4 address and the IPv6 address that maps it (::ffff:192.168.7.2) are different addresses.

#pragma once

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "velora/utils/api.h"

namespace velora::packet {

class VELORA_API IpAddress {
 public:
    // Bytes of an address.
    static constexpr std::size_t kIpv4Size = 4;
    static constexpr std::size_t kIpv6Size = 16;

    constexpr IpAddress() = default;  // 0.0.0.0

    // Of IPv4: 192.168.7.2 is 0xC0A80702.
    explicit constexpr IpAddress(std::uint32_t number)
        : m_Bytes{static_cast<std::uint8_t>(number >> 24U),
                  static_cast<std::uint8_t>(number >> 16U), static_cast<std::uint8_t>(number >> 8U),
                  static_cast<std::uint8_t>(number)} {}

    // Of IPv6: the bytes in the order of the text, as packets have them.
    explicit constexpr IpAddress(const std::array<std::uint8_t, kIpv6Size>& bytes)
        : m_Size(kIpv6Size), m_Bytes(bytes) {}

    // Four bytes are an IPv4 address, sixteen an IPv6 address, in the order of the text; nothing of
    // any other number.
    [[nodiscard]] static std::optional<IpAddress> FromBytes(std::span<const std::uint8_t> bytes);

    // What Text gives, and all other forms of inet_pton(3); nothing for anything else, such as a
    // zone ("fe80::1%eth0"), a prefix length or blanks.
    [[nodiscard]] static std::optional<IpAddress> Parse(std::string_view text);

    // 4 or 6.
    [[nodiscard]] constexpr std::uint8_t Version() const { return m_Size == kIpv4Size ? 4 : 6; }

    // Its 4 or 16 bytes, as long as this object lives.
    [[nodiscard]] constexpr std::span<const std::uint8_t> Bytes() const {
        return {m_Bytes.data(), m_Size};
    }

    // The first four bytes as a number: of IPv4 the whole address.
    [[nodiscard]] constexpr std::uint32_t Number() const {
        return std::uint32_t{m_Bytes[0]} << 24U | std::uint32_t{m_Bytes[1]} << 16U |
               std::uint32_t{m_Bytes[2]} << 8U | m_Bytes[3];
    }

    // "192.168.7.2"; "2001:db8::1", the form of inet_ntop(3).
    [[nodiscard]] std::string Text() const;

    // Those of IPv4 come first, then the numbers decide.
    friend constexpr auto operator<=>(const IpAddress&, const IpAddress&) = default;

 private:
    std::uint8_t m_Size = kIpv4Size;
    std::array<std::uint8_t, kIpv6Size> m_Bytes{};  // zeros behind an IPv4 address
};

}  // namespace velora::packet

template <>
struct std::hash<velora::packet::IpAddress> {
    [[nodiscard]] std::size_t operator()(const velora::packet::IpAddress& address) const noexcept;
};
