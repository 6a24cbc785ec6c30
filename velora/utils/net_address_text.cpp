#include "velora/utils/net_address_text.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "velora/utils/bounded_copy.h"
#include "velora/utils/format_buffer.h"
#include "velora/utils/hex_text.h"

namespace MiscUtils {

char* MacToString(const std::uint8_t* mac, char* buffer, std::size_t size) {
    FormatBuffer(buffer, size, "%02X:%02X:%02X:%02X:%02X:%02X", mac[0], mac[1], mac[2], mac[3],
                 mac[4], mac[5]);
    return buffer;
}

char* IpToString(const std::uint8_t* address, char* buffer, std::size_t size) {
    FormatBuffer(buffer, size, "%d.%d.%d.%d", address[0], address[1], address[2], address[3]);
    return buffer;
}

int ParseIp(const char* text, std::uint8_t* out) {
    if (text == nullptr) {
        return 0;
    }
    std::array<char, 128> work{};
    CopyBounded(work, text, "ParseIp");
    std::array<int, 4> numbers{};
    if (std::sscanf(work.data(), "%d.%d.%d.%d", &numbers[0], &numbers[1], &numbers[2],
                    &numbers[3]) != 4) {
        return 0;
    }
    if (std::ranges::any_of(numbers, [](int number) { return number < 0 || number > 255; })) {
        return 0;
    }
    std::ranges::transform(numbers, out,
                           [](int number) { return static_cast<std::uint8_t>(number); });
    return 1;
}

int ParseIp(const std::string& text, std::uint8_t* out) {
    return ParseIp(text.c_str(), out);
}

int SameSubnet(const std::uint8_t* a, const std::uint8_t* b, const std::uint8_t* mask) {
    for (int i = 0; i < 4; ++i) {
        if (((a[i] ^ b[i]) & mask[i]) != 0) {
            return 0;
        }
    }
    return 1;
}

char* HexIpToDotted(std::string_view text, char* buffer) {
    const auto at = [text](std::size_t i) { return i < text.size() ? text[i] : '\0'; };
    const auto group = [at](std::size_t i) { return HexPairToByte(at(i), at(i + 1)); };
    FormatBuffer(buffer, 16, "%u.%u.%u.%u", group(0), group(3), group(6), group(9));
    return buffer;
}

}  // namespace MiscUtils
