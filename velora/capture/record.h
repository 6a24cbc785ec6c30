// A record as every format here is read: one packet, when it was seen, and how much of it was kept.

#pragma once

#include <cstdint>
#include <span>

namespace velora::capture {

struct Record {
    std::int64_t time = 0;             // nanoseconds since 1970-01-01 UTC
    std::uint32_t capturedLength = 0;  // bytes that the capture holds, from `data` on
    std::uint32_t originalLength = 0;  // bytes of the packet on the wire, as the capture says
    std::uint32_t interface = 0;  // counts the interfaces of its capture as they were described
    const std::uint8_t* data = nullptr;  // the captured bytes

    // The captured bytes, which live as long as what the record came from says.
    [[nodiscard]] std::span<const std::uint8_t> Bytes() const { return {data, capturedLength}; }
};

// What records may come from. A classic capture has one interface.
struct Interface {
    std::uint32_t linkType = 0;            // raw IP is always 101
    std::uint32_t snapLen = 0;             // as declared; 0 for none
    bool isFinerThanMicroseconds = false;  // its unit of time is no whole number of microseconds
};

}  // namespace velora::capture
