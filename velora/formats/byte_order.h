// Byte order: numbers as files and packets have them, at any address, whatever the machine.
//
// The caller has seen that the whole number lies at the place.

#pragma once

#include <bit>
#include <concepts>
#include <cstdint>
#include <cstring>

namespace velora::formats {

// The bytes in reverse order; of one byte, that byte.
template <std::integral Number>
[[nodiscard]] constexpr Number Swapped(Number value) {
    if constexpr (sizeof value == 2) {
        return static_cast<Number>(__builtin_bswap16(static_cast<std::uint16_t>(value)));
    } else if constexpr (sizeof value == 4) {
        return static_cast<Number>(__builtin_bswap32(static_cast<std::uint32_t>(value)));
    } else if constexpr (sizeof value == 8) {
        return static_cast<Number>(__builtin_bswap64(static_cast<std::uint64_t>(value)));
    } else {
        static_assert(sizeof value == 1);
        return value;
    }
}

// The value whose bytes, as they lie in memory, are those of `value` in that order; and back.
template <std::integral Number>
[[nodiscard]] constexpr Number LittleEndian(Number value) {
    return std::endian::native == std::endian::little ? value : Swapped(value);
}
template <std::integral Number>
[[nodiscard]] constexpr Number BigEndian(Number value) {
    return std::endian::native == std::endian::big ? value : Swapped(value);
}

// The number at the place: in the byte order of this machine or the other one, which a file's magic
// number tells; in little-endian order; in big-endian order, as packets have theirs.
template <std::integral Number>
[[nodiscard]] Number Load(const std::uint8_t* place, bool isSwapped = false) {
    Number value;
    std::memcpy(&value, place, sizeof value);
    return isSwapped ? Swapped(value) : value;
}
template <std::integral Number>
[[nodiscard]] Number LoadLittle(const std::uint8_t* place) {
    return LittleEndian(Load<Number>(place));
}
template <std::integral Number>
[[nodiscard]] Number LoadBig(const std::uint8_t* place) {
    return BigEndian(Load<Number>(place));
}

// Writes the number there.
template <std::integral Number>
void StoreLittle(std::uint8_t* place, Number value) {
    value = LittleEndian(value);
    std::memcpy(place, &value, sizeof value);
}
template <std::integral Number>
void StoreBig(std::uint8_t* place, Number value) {
    value = BigEndian(value);
    std::memcpy(place, &value, sizeof value);
}

}  // namespace velora::formats
