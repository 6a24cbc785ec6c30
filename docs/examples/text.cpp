// Bytes, addresses and identifiers as text.
#include <array>
#include <cstdint>
#include <iostream>

#include <velora/utils/byte_quantity.h>
#include <velora/utils/guid.h>
#include <velora/utils/hex_text.h>
#include <velora/utils/net_address_text.h>
#include <velora/utils/text_edit.h>

int main() {
    std::array<std::uint8_t, 4> address{};
    if (MiscUtils::ParseIp("192.168.1.10", address.data()) != 1) {
        return 1;
    }
    std::cout << MiscUtils::FormatByteSize(1536) << "\n"
              << MiscUtils::BytesToHex({reinterpret_cast<const char*>(address.data()), 4}) << "\n";

    MiscUtils::Guid guid;
    std::cout << MiscUtils::ParseGuid("{6b29fc40-ca47-1067-b31d-00dd010662da}", guid) << "\n";

    std::string path = "/var//captures//a.pcap";
    MiscUtils::ReplaceAll(path, "//", "/");
    std::cout << path << (MiscUtils::EndsWith(path, ".pcap") ? " is a capture\n" : "\n");
}
