// Makes capture files for the tests, byte by byte: classic ones and pcap-ng ones, and compressed.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// std::string bytes = CaptureBuilder().BigEndian().Record(100, 900000, "frame").Bytes();
class CaptureBuilder {
 public:
    // These shape the global header, so they come before the records.
    CaptureBuilder& BigEndian(bool isBig = true) { return Set(m_IsBig, isBig); }
    CaptureBuilder& LinkType(std::uint32_t linkType) { return Set(m_LinkType, linkType); }
    CaptureBuilder& Nanoseconds() { return Set(m_Magic, 0xA1B23C4DU); }  // fractions of a second, not microseconds
    CaptureBuilder& Modified() { return Set(m_Magic, 0xA1B2CD34U); }     // record headers of 24 bytes
    CaptureBuilder& Version(std::uint16_t major, std::uint16_t minor) {
        return Set(m_Major, major).Set(m_Minor, minor);
    }
    CaptureBuilder& SnapLen(std::uint32_t snapLen) { return Set(m_SnapLen, snapLen); }

    CaptureBuilder& Record(std::int32_t sec, std::int32_t usec, std::string_view data);
    // A record header that need not tell the truth about the data behind it.
    CaptureBuilder& Record(std::int32_t sec, std::int32_t usec, std::uint32_t inclLen, std::uint32_t origLen,
                           std::string_view data);

    [[nodiscard]] std::string Bytes() const;

 private:
    template <typename Value>
    CaptureBuilder& Set(Value& field, Value value) {
        field = value;
        return *this;
    }

    bool m_IsBig = false;
    std::uint32_t m_Magic = 0xA1B2C3D4;
    std::uint16_t m_Major = 2;
    std::uint16_t m_Minor = 4;
    std::uint32_t m_SnapLen = 65535;
    std::uint32_t m_LinkType = 1;
    std::string m_Records;
};

// pcap-ng, block by block: std::string bytes = PcapNgBuilder().Packet(7, "frame").Bytes();
class PcapNgBuilder {
 public:
    // A little-endian section with one interface. `ticksPerSecondPower` is 6 for microseconds, 9 for nanoseconds.
    explicit PcapNgBuilder(std::uint16_t linkType = 1, std::uint8_t ticksPerSecondPower = 6);
    // Nothing yet: a section comes first.
    static PcapNgBuilder Empty() { return PcapNgBuilder(nullptr); }

    PcapNgBuilder& Section(bool isBig = false, const std::string& options = "", std::uint16_t major = 1);
    PcapNgBuilder& Interface(std::uint16_t linkType, std::uint32_t snapLen, const std::string& options = "");
    // Of the section's first interface. `length` is that on the wire, unless the data is longer.
    PcapNgBuilder& Packet(std::uint64_t ticks, std::string_view data, std::uint32_t length = 0) {
        return PacketOf(0, ticks, data, "", length);
    }
    PcapNgBuilder& PacketOf(std::uint32_t interface, std::uint64_t ticks, std::string_view data,
                            const std::string& options = "", std::uint32_t length = 0);
    PcapNgBuilder& ObsoletePacket(std::uint16_t interface, std::uint64_t ticks, std::string_view data);
    // Without a time, of the first interface. `length` is that on the wire.
    PcapNgBuilder& SimplePacket(std::uint32_t length, std::string_view data);
    // Any block, its body padded; and bytes that need be none.
    PcapNgBuilder& Block(std::uint32_t type, std::string body);
    PcapNgBuilder& Raw(std::string_view bytes);

    // For the blocks of the section: an option, a number's last 32 bits.
    [[nodiscard]] std::string Option(std::uint16_t code, const std::string& value) const;
    [[nodiscard]] std::string Number(std::uint64_t value) const;

    [[nodiscard]] const std::string& Bytes() const { return m_Bytes; }

 private:
    explicit PcapNgBuilder(std::nullptr_t /*nothing*/) {}
    [[nodiscard]] std::string Time(std::uint64_t ticks) const { return Number(ticks >> 32U) + Number(ticks); }

    bool m_IsBig = false;
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

// An Ethernet frame of at least 34 bytes with the given type and IPv4 addresses, filled up with `fill`.
[[nodiscard]] std::string Frame(std::uint16_t type, std::uint32_t source, std::uint32_t destination,
                                std::size_t size = 60, char fill = '.');
