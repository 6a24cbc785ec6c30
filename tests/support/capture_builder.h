// Makes capture files for the tests, byte by byte: classic ones and pcap-ng ones, and compressed.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// std::string bytes = CaptureBuilder().BigEndian().Record(100, 900000, "frame").Bytes();
class CaptureBuilder {
 public:
    // These shape the global header, so they come before the records.
    CaptureBuilder& BigEndian(bool isBig = true);
    CaptureBuilder& LinkType(std::uint32_t linkType);

    CaptureBuilder& Record(std::int32_t sec, std::int32_t usec, std::string_view data);
    // A record header that need not tell the truth about the data behind it.
    CaptureBuilder& Record(std::int32_t sec, std::int32_t usec, std::uint32_t inclLen, std::uint32_t origLen,
                           std::string_view data);

    [[nodiscard]] std::string Bytes() const;

 private:
    bool m_IsBig = false;
    std::uint32_t m_LinkType = 1;
    std::string m_Records;
};

// A little-endian pcap-ng section with one interface.
class PcapNgBuilder {
 public:
    // `ticksPerSecondPower` is the resolution: 6 for microseconds, 9 for nanoseconds.
    explicit PcapNgBuilder(std::uint16_t linkType = 1, std::uint8_t ticksPerSecondPower = 6);
    // `length` is that on the wire, unless the data is longer.
    PcapNgBuilder& Packet(std::uint64_t ticks, std::string_view data, std::uint32_t length = 0);
    [[nodiscard]] const std::string& Bytes() const { return m_Bytes; }

 private:
    void Block(std::uint32_t type, std::string body);

    std::string m_Bytes;
};

[[nodiscard]] std::string Gzip(std::string_view bytes);
// `blockSize` (1 to 9) is in units of 100 kB.
[[nodiscard]] std::string Bzip2(std::string_view bytes, int blockSize = 9);
// One stream with a CRC-64.
[[nodiscard]] std::string Xz(std::string_view bytes);
// One frame with a checksum.
[[nodiscard]] std::string Zstd(std::string_view bytes);
// One frame with a checksum, in blocks of 64 KiB.
[[nodiscard]] std::string Lz4(std::string_view bytes, bool hasBlockChecksums = false);

// An Ethernet frame of at least 34 bytes with the given type and IPv4 addresses, filled up with
// `fill`.
[[nodiscard]] std::string Frame(std::uint16_t type, std::uint32_t source, std::uint32_t destination,
                                std::size_t size = 60, char fill = '.');
