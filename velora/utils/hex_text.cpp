#include "velora/utils/hex_text.h"

#include <cctype>
#include <cstddef>

namespace MiscUtils {
namespace {

int DigitValue(char digit) {
    const int code = std::toupper(static_cast<unsigned char>(digit));
    return std::isdigit(code) != 0 ? code - '0' : code - 55;
}

}  // namespace

std::uint8_t HexPairToByte(char high, char low) {
    return static_cast<std::uint8_t>(DigitValue(high) * 16 + DigitValue(low));
}

std::string HexToBytes(std::string_view text) {
    std::string bytes;
    bytes.reserve(text.size() / 2);
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
        bytes.push_back(static_cast<char>(HexPairToByte(text[i], text[i + 1])));
    }
    return bytes;
}

std::string ByteToHex(std::uint8_t byte) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    return {kDigits[byte >> 4U], kDigits[byte & 15U]};
}

std::string BytesToHex(std::string_view bytes) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const char byte : bytes) {
        const auto code = static_cast<unsigned char>(byte);
        text.push_back(kDigits[code >> 4U]);
        text.push_back(kDigits[code & 15U]);
    }
    return text;
}

}  // namespace MiscUtils
