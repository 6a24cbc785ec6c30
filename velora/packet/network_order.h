// Numbers as packets have them: in network byte order, at any address. `at` counts bytes from the
// start of `bytes`; the caller has seen that the whole number lies within.

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace velora::packet {

// The number that stands there.
[[nodiscard]] constexpr std::uint16_t Load16(std::span<const std::uint8_t> bytes, std::size_t at) {
    return static_cast<std::uint16_t>(bytes[at] << 8U | bytes[at + 1]);
}

// The same, of four bytes.
[[nodiscard]] constexpr std::uint32_t Load32(std::span<const std::uint8_t> bytes, std::size_t at) {
    return std::uint32_t{Load16(bytes, at)} << 16U | Load16(bytes, at + 2);
}

// Writes the number there.
constexpr void Store16(std::span<std::uint8_t> bytes, std::size_t at, std::uint16_t value) {
    bytes[at] = static_cast<std::uint8_t>(value >> 8U);
    bytes[at + 1] = static_cast<std::uint8_t>(value);
}

// The same, of four bytes.
constexpr void Store32(std::span<std::uint8_t> bytes, std::size_t at, std::uint32_t value) {
    Store16(bytes, at, static_cast<std::uint16_t>(value >> 16U));
    Store16(bytes, at + 2, static_cast<std::uint16_t>(value));
}

}  // namespace velora::packet
