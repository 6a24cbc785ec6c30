// Bytes as hexadecimal text and back. No state; any thread may call these.
//
// Example:
//     MiscUtils::BytesToHex("\x01\xFF");  // "01FF"
//     MiscUtils::HexToBytes("01ff");      // "\x01\xFF"

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "velora/utils/api.h"

namespace MiscUtils {

// The byte of two hexadecimal digits of either case. Nothing is refused: a character that is no
// decimal digit counts as the code of its upper case minus 55, which is right for A to F and some
// number for others, and the result is reduced to a byte.
[[nodiscard]] VELORA_API std::uint8_t HexPairToByte(char high, char low);

// The bytes of the pairs of `text`, by the rule of HexPairToByte: one byte for two characters, and
// a last character without a partner is dropped.
[[nodiscard]] VELORA_API std::string HexToBytes(std::string_view text);

// Two lower-case digits.
[[nodiscard]] VELORA_API std::string ByteToHex(std::uint8_t byte);

// Two upper-case digits for each byte.
[[nodiscard]] VELORA_API std::string BytesToHex(std::string_view bytes);

}  // namespace MiscUtils
