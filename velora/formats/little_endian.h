// The byte order in which files are written here, whatever the machine.

#pragma once

#include <bit>
#include <cstdint>

// The value whose bytes, as they lie in memory, are those of `value` in little-endian order.
constexpr std::uint32_t LittleEndian(std::uint32_t value) {
    return std::endian::native == std::endian::little ? value : __builtin_bswap32(value);
}
constexpr std::uint16_t LittleEndian(std::uint16_t value) {
    return std::endian::native == std::endian::little ? value : __builtin_bswap16(value);
}
