// The classic capture file format, defined once for all readers and writers. The tests put their
// files together by themselves, so that an error here shows.
//
// A file is a global header of 24 bytes, then records: a header of 16 bytes and the captured bytes
// of the packet. Multi-byte fields are in the byte order of the machine that wrote the file, which
// the magic number tells. Described in pcap-savefile(5) and the capture-file draft
// (draft-ietf-opsawg-pcap); the magic numbers for nanoseconds and for longer record headers came
// later.

#pragma once

#include <cstdint>

#include "velora/formats/byte_order.h"

namespace velora::formats::classic {

// The magic number as a little-endian machine reads it.
inline constexpr std::uint32_t kMagic = 0xA1B2C3D4;
inline constexpr std::uint32_t kMagicSwapped = 0xD4C3B2A1;
inline constexpr std::uint32_t kMagicNanoseconds = 0xA1B23C4D;
// Microseconds, but record headers of 24 bytes: behind the usual fields an interface index (4
// bytes), a protocol (2), a packet type (1) and padding (1).
inline constexpr std::uint32_t kMagicModified = 0xA1B2CD34;
// The first four bytes of a pcap-ng file: its Section Header Block type, the same in both orders.
inline constexpr std::uint32_t kMagicPcapNg = 0x0A0D0D0A;

// What the writer puts into a file header.
inline constexpr std::uint16_t kVersionMajor = 2;
inline constexpr std::uint16_t kVersionMinor = 4;
inline constexpr std::uint32_t kSnapLen = 65535;
inline constexpr std::uint32_t kLinkTypeEthernet = 1;

// The global header, as it lies in a file of this machine's byte order.
struct FileHeader {
    std::uint32_t magic;         // kMagic
    std::uint16_t versionMajor;  // 2
    std::uint16_t versionMinor;  // 4
    std::int32_t thisZone;       // seconds between local time and UTC; 0 in practice
    std::uint32_t sigFigs;       // accuracy of timestamps; 0 in practice
    std::uint32_t snapLen;       // largest captured length, bytes
    std::uint32_t linkType;      // a LINKTYPE_ number: what the captured bytes begin with
};
static_assert(sizeof(FileHeader) == 24);

// What stands before the captured bytes of each record.
struct RecordHeader {
    std::int32_t tsSec;     // seconds since 1970-01-01 UTC
    std::int32_t tsUsec;    // microseconds within the second
    std::uint32_t inclLen;  // captured length: the bytes that follow this header
    std::uint32_t origLen;  // length of the packet on the wire
};
static_assert(sizeof(RecordHeader) == 16);

using formats::Swapped;

// A header of the other byte order, each field reversed within itself.
constexpr FileHeader Swapped(const FileHeader& header) {
    return {Swapped(header.magic),    Swapped(header.versionMajor), Swapped(header.versionMinor),
            Swapped(header.thisZone), Swapped(header.sigFigs),      Swapped(header.snapLen),
            Swapped(header.linkType)};
}

// The same for the header of a record.
constexpr RecordHeader Swapped(const RecordHeader& header) {
    return {Swapped(header.tsSec), Swapped(header.tsUsec), Swapped(header.inclLen),
            Swapped(header.origLen)};
}

}  // namespace velora::formats::classic
