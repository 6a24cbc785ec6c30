// The pcap-ng file format, as far as readers and writers here need it: numbers, sizes and offsets.
// Described in the capture-file draft (draft-ietf-opsawg-pcapng).
//
// A file is a chain of blocks: type (4 bytes), total length (4), a body padded to four bytes, the
// total length again (4). Multi-byte fields are in the byte order of the section, which its first
// block tells. Options, at the end of many bodies, are code (2), length (2), value padded to four.

#pragma once

#include <cstddef>
#include <cstdint>

namespace velora::formats::pcapng {

// Block types.
inline constexpr std::uint32_t kSectionHeader = 0x0A0D0D0A;  // the same in both byte orders
inline constexpr std::uint32_t kInterfaceDescription = 1;
inline constexpr std::uint32_t kObsoletePacket = 2;
inline constexpr std::uint32_t kSimplePacket = 3;
inline constexpr std::uint32_t kNameResolution = 4;
inline constexpr std::uint32_t kEnhancedPacket = 6;
inline constexpr std::uint32_t kDecryptionSecrets = 10;

// Behind type and length of a section header stands this, in the section's byte order.
inline constexpr std::uint32_t kByteOrderMagic = 0x1A2B3C4D;
inline constexpr std::uint16_t kVersionMajor = 1;

// Sizes of blocks, with both lengths, without data and options.
inline constexpr std::size_t kSmallestBlock = 12;
inline constexpr std::size_t kSectionHeaderSize = 28;
inline constexpr std::size_t kInterfaceDescriptionSize = 20;
inline constexpr std::size_t kPacketSize = 32;  // enhanced and obsolete alike
inline constexpr std::size_t kSimplePacketSize = 16;

// Where the captured bytes begin, from the start of the block.
inline constexpr std::size_t kPacketDataOffset = 28;

// Options.
inline constexpr std::uint16_t kEndOfOptions = 0;
inline constexpr std::uint16_t kComment = 1;
inline constexpr std::uint16_t kInterfaceName = 2;        // of an interface description
inline constexpr std::uint16_t kTimestampResolution = 9;  // 1 byte: -log10, or with bit 7 -log2
// 1 byte: bits of the frame check sequence; what is below 8 was meant as octets.
inline constexpr std::uint16_t kFcsLength = 13;
inline constexpr std::uint16_t kTimestampOffset = 14;           // 8 bytes, seconds, signed
inline constexpr std::uint8_t kDefaultTimestampResolution = 6;  // microseconds

}  // namespace velora::formats::pcapng
