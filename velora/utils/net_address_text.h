// Hardware (MAC) and IPv4 addresses as text and back.
//
// A MAC address is 6 bytes and an IPv4 address or mask 4 bytes in the order of the text, most
// significant first; the caller's arrays hold at least as many. No state; any thread may call
// these.
//
// Example:
//     unsigned char address[4];
//     char text[16];
//     if (MiscUtils::ParseIp("10.0.0.1", address) == 1) {
//         puts(MiscUtils::IpToString(address, text, sizeof text));
//     }

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "velora/utils/api.h"

namespace MiscUtils {

// Writes "00:1B:44:11:3A:B7", in upper case, and returns `buffer`. The text takes 18 bytes with its
// zero; `size` is not looked at, so a smaller buffer is overrun.
VELORA_API char* MacToString(const std::uint8_t* mac, char* buffer, std::size_t size);

// Writes "192.168.1.10" and returns `buffer`. The text takes up to 16 bytes with its zero; `size`
// is not looked at, so a smaller buffer is overrun.
VELORA_API char* IpToString(const std::uint8_t* address, char* buffer, std::size_t size);

// Reads four decimal numbers of 0 to 255 with dots between them. Returns 1 and sets the 4 bytes of
// `out`, or returns 0 and leaves them alone (for a null text too).
//
// The reader is lenient, with sscanf(3): blanks and a plus sign before a number, leading zeros
// (which do not mean octal) and anything after the fourth number pass. Of a number beyond 32 bits
// sscanf keeps the low bits. A text of 128 characters or more is taken for a fault of the caller
// and ends the process (SIGABRT); check the length of text from outside first.
[[nodiscard]] VELORA_API int ParseIp(const char* text, std::uint8_t* out);
[[nodiscard]] VELORA_API int ParseIp(const std::string& text,
                                     std::uint8_t* out);  // up to its first zero

// Returns 1 when the two addresses agree in every bit that is set in `mask`, otherwise 0.
[[nodiscard]] VELORA_API int SameSubnet(const std::uint8_t* a, const std::uint8_t* b,
                                        const std::uint8_t* mask);

// Writes the address of four two-digit hexadecimal groups, "C0:A8:01:0A", as "192.168.1.10" and
// returns `buffer`, which has at least 16 bytes.
//
// The digits stand at positions 0-1, 3-4, 6-7 and 9-10; the characters between them are not looked
// at. Nothing is refused: each pair gives a byte by the rule of HexPairToByte, and positions past
// the end of `text` count as zero characters. So any text gives some address that fits.
VELORA_API char* HexIpToDotted(std::string_view text, char* buffer);

}  // namespace MiscUtils
