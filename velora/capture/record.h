// A record as every format here is read: one packet, when it was seen, and how much of it was kept.

#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace velora::capture {

// What records come from. A classic capture has one interface.
struct Interface {
    std::uint32_t linkType = 0;               // raw IP is always 101
    std::uint32_t snapLen = 0;                // as declared; 0 for none
    std::uint32_t number = 0;                 // counts the interfaces of the capture as described
    std::optional<std::uint8_t> fcsLength{};  // bits of the frame check sequence behind each
                                              // packet; none: the capture does not tell
    bool isFinerThanMicroseconds = false;     // its unit of time is no whole number of microseconds

    // Equal in two sections of one capture where their descriptions are; of several equal
    // descriptions in one section the ordinal tells which. The first is a hash with a seed of the
    // process's own.
    std::uint64_t descriptionHash = 0;
    std::uint32_t ordinal = 0;

    // What a pcap-ng capture calls it (if_name), where the reader keeps names; lives as long as the
    // interface.
    std::string_view name{};

    // Whether both are one, of one capture.
    [[nodiscard]] bool IsSameAs(const Interface& other) const {
        return descriptionHash == other.descriptionHash && ordinal == other.ordinal;
    }
};

struct Record {
    std::int64_t time = 0;                 // nanoseconds since 1970-01-01 UTC
    std::uint32_t capturedLength = 0;      // bytes that the capture holds, from `data` on
    std::uint32_t originalLength = 0;      // bytes of the packet on the wire, as the capture says
    const Interface* interface = nullptr;  // what it was captured on; lives as long as the bytes
    const std::uint8_t* data = nullptr;    // the captured bytes

    // The captured bytes, which live as long as what the record came from says.
    [[nodiscard]] std::span<const std::uint8_t> Bytes() const { return {data, capturedLength}; }

    // The same record with other captured bytes, fewer than 2^32, which are borrowed.
    [[nodiscard]] Record WithBytes(std::span<const std::uint8_t> bytes) const {
        Record changed = *this;
        changed.data = bytes.data();
        changed.capturedLength = static_cast<std::uint32_t>(bytes.size());
        return changed;
    }
};

}  // namespace velora::capture
