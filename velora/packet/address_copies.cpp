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
    const std::optional<AddressRewrite> rewrite = AddressRewrite::Plan(linkType, captured);
    if (!rewrite || !(IsCopied(rewrite->Source()) || IsCopied(rewrite->Destination()))) {
        return std::nullopt;
    }
    return AddressCopies(*rewrite);
}

void AddressCopies::Apply(std::uint8_t network, std::span<std::uint8_t> copy) const {
    m_Rewrite.Apply(InNetwork(network, m_Rewrite.Source()),
                    InNetwork(network, m_Rewrite.Destination()), copy);
}

}  // namespace velora::packet
