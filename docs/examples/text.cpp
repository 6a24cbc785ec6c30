#include <array>
#include <iostream>

#include "utils/byte_quantity.h"
#include "utils/guid.h"
#include "utils/hex_text.h"
#include "utils/net_address_text.h"

int main() {
    const MiscUtils::Guid guid =
        MiscUtils::ParseGuidOrThrow("{6b29fc40-ca47-1067-b31d-00dd010662da}");
    std::array<char, 39> text{};
    std::cout << MiscUtils::GuidToString(guid, text.data(), text.size()) << '\n';

    std::array<unsigned char, 4> address{};
    if (MiscUtils::ParseIp("192.168.1.10", address.data()) == 1) {
        std::cout << MiscUtils::IpToString(address.data(), text.data(), text.size()) << '\n';
    }
    std::cout << MiscUtils::BytesToHex("seam") << ' ' << MiscUtils::FormatByteSize(1048577) << '\n';
}
// Output:
// {6B29FC40-CA47-1067-B31D-00DD010662DA}
// 192.168.1.10
// 7365616D 1.00 MB
