// RecordEncoder: file header and record headers of the classic capture format (pcap-savefile(5)),
// little-endian, version 2.4, with times in microseconds or nanoseconds. It fills room that the
// caller gives; the captured bytes are not its business.
//
// A time that the file cannot hold is replaced by the nearest that it can, and that is told, so
// that the caller can count it. Threads may share an encoder.

#pragma once

#include <array>
#include <cstdint>
#include <cstring>

#include "velora/formats/byte_order.h"
#include "velora/formats/classic_format.h"
#include "velora/output/time_change.h"
#include "velora/utils/nanoseconds.h"

namespace velora::output {

class RecordEncoder {
 public:
    // What the fractions of seconds count.
    enum class Unit : std::uint8_t { kMicroseconds, kNanoseconds };
    // The 24 bytes that a file begins with.
    using FileHeader = std::array<std::uint8_t, sizeof(formats::classic::FileHeader)>;

    // Bytes in front of the captured bytes of a record.
    static constexpr std::size_t kHeaderSize = sizeof(formats::classic::RecordHeader);

    // For a file whose times are in that unit.
    explicit RecordEncoder(Unit unit) : m_Unit(unit) {}

    // What the file begins with. `linkTypeField` is written as it is: the link type in the low 26
    // bits, what is said about frame check sequences above.
    [[nodiscard]] FileHeader EncodeFileHeader(std::uint32_t snapLen,
                                              std::uint32_t linkTypeField) const;

    // Fills the kHeaderSize bytes at `room`, which need not be aligned. The time counts nanoseconds
    // since 1970; the lengths are in bytes, captured and on the wire.
    [[nodiscard]] TimeChange EncodeHeader(std::uint8_t* room, std::int64_t time,
                                          std::uint32_t capturedLength,
                                          std::uint32_t originalLength) const {
        constexpr std::uint64_t kSecond = utils::kNanosecondsPerSecond;
        constexpr std::uint64_t kEnd = kSecond << 32;
        TimeChange change = TimeChange::kAsIs;
        auto held = static_cast<std::uint64_t>(time);
        if (held >= kEnd) [[unlikely]] {  // a negative one is very large now
            change = time < 0 ? TimeChange::kBefore1970 : TimeChange::kBeyondLast;
            held = time < 0 ? 0 : kEnd - 1;
        }
        const auto seconds = static_cast<std::uint32_t>(held / kSecond);
        auto fraction = static_cast<std::uint32_t>(held % kSecond);
        if (m_Unit == Unit::kMicroseconds) {
            const bool isCut = fraction % 1000 != 0;
            fraction /= 1000;
            if (isCut && change == TimeChange::kAsIs) [[unlikely]] {
                change = TimeChange::kFinerThanUnit;
            }
        }
        const std::array<std::uint32_t, 4> fields{
            formats::LittleEndian(seconds), formats::LittleEndian(fraction),
            formats::LittleEndian(capturedLength), formats::LittleEndian(originalLength)};
        static_assert(sizeof fields == kHeaderSize);
        std::memcpy(room, fields.data(), sizeof fields);
        return change;
    }

 private:
    Unit m_Unit;
};

}  // namespace velora::output
