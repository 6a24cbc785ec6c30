// What a capture says of itself before its first record.

#pragma once

#include <cstdint>
#include <optional>

#include "velora/codec/compression.h"
#include "velora/utils/api.h"

namespace velora::capture {

// The formats that are read here.
enum class Format : std::uint8_t {
    kClassicMicroseconds,
    kClassicNanoseconds,
    kClassicModified,  // microseconds, record headers of 24 bytes
    kPcapNg,
};

// "pcap", "pcap with nanoseconds", "modified pcap", "pcap-ng".
[[nodiscard]] VELORA_API const char* NameOf(Format format);

struct CaptureTraits {
    // What it is, and what it is in.
    Format format = Format::kClassicMicroseconds;
    codec::Compression compression = codec::Compression::kNone;
    bool hasRecord = false;  // it has one at least
    // That of the first record; without a record, that of the first interface; none when a pcap-ng
    // file describes no interface.
    std::optional<std::uint32_t> linkType;
    // What a classic header says of frame check sequences, in the six bits above the link type, at
    // their place in that field (velora/formats/link_types.h). Of a pcap-ng file: what such a
    // header would say; 0 where its interfaces do not agree, or there is no way to say it.
    std::uint32_t fcsBits = 0;
    bool tellsFcsLength = false;           // it tells of an interface how long they are
    std::uint32_t snapLen = 0;             // the largest that is declared
    bool isFinerThanMicroseconds = false;  // a unit of time is no whole number of microseconds
};

}  // namespace velora::capture
