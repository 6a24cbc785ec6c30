// What a capture says of itself before its first record.

#pragma once

#include <cstdint>
#include <optional>

#include "velora/codec/compression.h"

namespace velora::capture {

// The formats that are read here.
enum class Format : std::uint8_t {
    kClassicMicroseconds,
    kClassicNanoseconds,
    kClassicModified,  // microseconds, record headers of 24 bytes
    kPcapNg,
};

// "pcap", "pcap with nanoseconds", "modified pcap", "pcap-ng".
[[nodiscard]] const char* NameOf(Format format);

struct CaptureTraits {
    // What it is, and what it is in.
    Format format = Format::kClassicMicroseconds;
    codec::Compression compression = codec::Compression::kNone;
    bool hasRecord = false;  // it has one at least
    // That of the first record; without a record, that of the first interface; none when a pcap-ng
    // file describes no interface.
    std::optional<std::uint32_t> linkType;
    std::uint32_t fcsBits = 0;             // the six bits above the link type in a classic header
    std::uint32_t snapLen = 0;             // the largest that is declared
    bool isFinerThanMicroseconds = false;  // a unit of time is no whole number of microseconds
};

}  // namespace velora::capture
