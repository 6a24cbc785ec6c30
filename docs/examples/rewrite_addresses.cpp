// A captured packet gets another destination, and checksums that follow.
#include <cstdint>
#include <iostream>
#include <string>
#include <vector>

#include "velora/formats/link_types.h"
#include "velora/packet/address_rewrite.h"
#include "velora/utils/hex_text.h"

namespace {

void Show(const std::vector<std::uint8_t>& packet) {
    const std::string hex = MiscUtils::BytesToHex(std::string(packet.begin(), packet.end()));
    std::cout << "to " << hex.substr(32, 8) << ", header's sum " << hex.substr(20, 4)
              << ", UDP's sum " << hex.substr(52, 4) << "\n";
}

}  // namespace

int main() {
    // IPv4 with UDP, from 203.0.113.9 to 192.168.7.2; the last bytes were not captured.
    const std::string captured =
        MiscUtils::HexToBytes("4500001FB79100004011BF88CB007109C0A8070204D214E9000B6482");
    std::vector<std::uint8_t> packet(captured.begin(), captured.end());
    Show(packet);

    const auto rewrite =
        velora::packet::AddressRewrite::Plan(velora::formats::link_type::kRawIp, packet);
    if (!rewrite) {
        return 1;  // no IPv4
    }
    for (const std::uint32_t destination : {0x0A070702U, 0xC6336407U}) {
        rewrite->Apply(rewrite->Source(), destination, packet);
        Show(packet);
    }
}
