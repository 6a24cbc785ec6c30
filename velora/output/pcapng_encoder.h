// PcapNgEncoder: the blocks of a little-endian pcap-ng file (draft-ietf-opsawg-pcapng) whose times
// count nanoseconds: one section header, a description of each interface, an enhanced packet block
// around the captured bytes of each record.
//
//     writer.Append(PcapNgEncoder::SectionHeader());
//     writer.Append(*PcapNgEncoder::InterfaceDescription(linkType, snapLen, "eth0"));  // number 0
//     PcapNgEncoder::EncodeHead(writer.Reserve(), time, 0, ...);
//     writer.Commit(PcapNgEncoder::kHeadSize), then the captured bytes, then the same with
//     EncodeTail

#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>
#include <vector>

#include "velora/formats/byte_order.h"
#include "velora/formats/pcapng_format.h"
#include "velora/output/time_change.h"

namespace velora::output {

using formats::LittleEndian;

class PcapNgEncoder {
 public:
    // What stands in front of the captured bytes of a record, and the most that stands behind.
    static constexpr std::size_t kHeadSize = formats::pcapng::kPacketDataOffset;
    static constexpr std::size_t kMostTail = 3 + sizeof(std::uint32_t);

    // What the file begins with.
    [[nodiscard]] static std::vector<std::uint8_t> SectionHeader();

    // Interfaces are numbered from 0, in the order of their descriptions; each comes before its
    // first packet. `snapLen` is in bytes, 0 for no limit. The name is UTF-8, of at most 65535
    // bytes, and may be empty. `fcsLength` is that of the frame check sequence behind each packet,
    // in bits, if it is known. Nothing for a link type that the format does not hold.
    [[nodiscard]] static std::optional<std::vector<std::uint8_t>> InterfaceDescription(
        std::uint32_t linkType, std::uint32_t snapLen, std::string_view name,
        std::optional<std::uint8_t> fcsLength = std::nullopt);

    // The format has 16 bits for a link type; a classic header has 26.
    [[nodiscard]] static constexpr bool Holds(std::uint32_t linkType) { return linkType <= 0xFFFF; }

    // Fills the kHeadSize bytes at `room`, which need not be aligned. The time counts nanoseconds
    // since 1970: kAsIs, or kBefore1970. The lengths are in bytes, captured (at most 2^31) and on
    // the wire.
    [[nodiscard]] static TimeChange EncodeHead(std::uint8_t* room, std::int64_t time,
                                               std::uint32_t interface,
                                               std::uint32_t capturedLength,
                                               std::uint32_t originalLength) {
        const auto held = static_cast<std::uint64_t>(time < 0 ? 0 : time);
        const std::array<std::uint32_t, 7> fields{
            LittleEndian(formats::pcapng::kEnhancedPacket),
            LittleEndian(BlockLength(capturedLength)),
            LittleEndian(interface),
            LittleEndian(static_cast<std::uint32_t>(held >> 32)),
            LittleEndian(static_cast<std::uint32_t>(held)),
            LittleEndian(capturedLength),
            LittleEndian(originalLength)};
        static_assert(sizeof fields == kHeadSize);
        std::memcpy(room, fields.data(), sizeof fields);
        return time < 0 ? TimeChange::kBefore1970 : TimeChange::kAsIs;
    }

    // Fills at most the kMostTail bytes at `room` and gives how many belong to the block.
    [[nodiscard]] static std::size_t EncodeTail(std::uint8_t* room, std::uint32_t capturedLength) {
        const std::size_t padding = -capturedLength & 3U;
        const std::uint32_t length = LittleEndian(BlockLength(capturedLength));
        std::memset(room, 0, 3);
        std::memcpy(room + padding, &length, sizeof length);
        return padding + sizeof length;
    }

 private:
    static constexpr std::uint32_t BlockLength(std::uint32_t capturedLength) {
        return static_cast<std::uint32_t>(formats::pcapng::kPacketSize) +
               ((capturedLength + 3) & ~3U);
    }
};

}  // namespace velora::output
