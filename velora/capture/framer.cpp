#include "velora/capture/framer.h"

#include <algorithm>

#include "velora/formats/link_types.h"

namespace velora::capture {
namespace {

// What other readers accept too; a capture with a larger snaplen may have longer records.
constexpr std::uint32_t kUsualLargest = 262144;
constexpr std::uint32_t kLargest = 128U << 20U;

}  // namespace

const char* NameOf(Format format) {
    switch (format) {
        case Format::kClassicMicroseconds:
            return "pcap";
        case Format::kClassicNanoseconds:
            return "pcap with nanoseconds";
        case Format::kClassicModified:
            return "modified pcap";
        case Format::kPcapNg:
            return "pcap-ng";
    }
    return "unknown";
}

std::uint32_t Framer::LargestLength(std::uint32_t snapLen, std::uint32_t linkType) {
    const bool isLong =
        linkType == formats::link_type::kDbus || linkType == formats::link_type::kUsbPcap;
    return isLong ? kLargest : std::min(std::max(kUsualLargest, snapLen), kLargest);
}

std::string Framer::TooLong(std::uint32_t capturedLength, std::uint32_t largest) {
    return "a record claims " + std::to_string(capturedLength) + " bytes, where at most " +
           std::to_string(largest) + " can be";
}

}  // namespace velora::capture
