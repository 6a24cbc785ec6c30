#include "velora/packet/address_copies.h"

namespace velora::packet {

namespace {

constexpr std::uint32_t kNetTen = 0x0A000000;  // 10.0.0.0

// Whether it is in 192.168.0.0/16.
bool IsCopied(std::uint32_t address) {
    return address >> 16U == 0xC0A8;
}

std::uint32_t InNetwork(std::uint8_t network, std::uint32_t address) {
    return IsCopied(address) ? kNetTen | std::uint32_t{network} << 16U | (address & 0xFFFFU)
                             : address;
}

}  // namespace

std::optional<AddressCopies> AddressCopies::Plan(std::uint32_t linkType,
                                                 std::span<const std::uint8_t> captured) {
    const std::optional<IpPlace> place = FindIp(linkType, captured);
    if (!place || place->version != 4) {
        return std::nullopt;
    }
    const AddressRewrite rewrite(captured, *place);
    if (!IsCopied(rewrite.Source().Number()) && !IsCopied(rewrite.Destination().Number())) {
        return std::nullopt;
    }
    return AddressCopies(rewrite);
}

void AddressCopies::Apply(std::uint8_t network, std::span<std::uint8_t> copy) const {
    // Of IPv4, and all the bytes: it does not fail.
    static_cast<void>(m_Rewrite.Apply(InNetwork(network, m_Rewrite.Source().Number()),
                                      InNetwork(network, m_Rewrite.Destination().Number()), copy));
}

}  // namespace velora::packet
