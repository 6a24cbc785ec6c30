// The plainest Internet checksum (RFC 1071): all words of what it covers, as numbers modulo 65535.
// And numbers as packets have them.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// The number in so many bytes, in big-endian order.
inline std::string Big(std::size_t size, std::uint64_t value) {
    std::string bytes(size, '\0');
    for (; size > 0; value >>= 8U) {
        bytes[--size] = static_cast<char>(value & 0xFFU);
    }
    return bytes;
}

// The sum of the big-endian words of `bytes`, an odd one at the end filled up with a zero.
inline std::uint64_t SumOfWords(std::string_view bytes) {
    std::uint64_t sum = 0;
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        sum += static_cast<std::uint8_t>(bytes[at]) * (at % 2 == 0 ? 256U : 1U);
    }
    return sum;
}

// The checksum over words of that sum. `zero` is how the protocol writes a zero.
inline std::uint16_t NaiveChecksum(std::uint64_t sum, std::uint16_t zero) {
    const std::uint64_t checksum = (65535 - sum % 65535) % 65535;
    return checksum == 0 ? zero : static_cast<std::uint16_t>(checksum);
}
