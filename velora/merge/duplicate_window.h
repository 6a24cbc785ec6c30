// DuplicateWindow: which records repeat one that was written shortly before.
//
// Records are equal when link type, length on the wire and all captured bytes are. They are found
// by a hash (XXH3 of xxHash) whose secret is the window's own, so that no capture can be made to
// collide in it, and compared byte for byte before anything is said of them. A record of a stream
// in order takes constant time, whatever it is; one that is out of order, the logarithm of what is
// remembered.
//
// What is older than the window, seen from the record written last, is forgotten: its memory is
// what was written in that time, and about 200 bytes for each record. When that would be more than
// there is room for, the oldest is forgotten too, and HasForgotten tells.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <span>
#include <unordered_map>
#include <vector>

#include "velora/utils/api.h"

namespace velora::merge {

// A record as it stands in the output.
struct WrittenRecord {
    std::int64_t time = 0;                // nanoseconds since 1970
    std::uint32_t linkType = 0;           // of its interface
    std::uint32_t originalLength = 0;     // bytes on the wire
    std::span<const std::uint8_t> bytes;  // those that the output keeps
};

class VELORA_API DuplicateWindow {
 public:
    static constexpr std::size_t kRoom = std::size_t{256} << 20U;  // bytes, unless it is said

    // `width` in nanoseconds: 0 looks back to records of the same time only. `room` is for all that
    // is remembered. Throws std::system_error when the system gives no random bytes.
    explicit DuplicateWindow(std::int64_t width, std::size_t room = kRoom);

    // Whether the record equals one that was noted and is at most the width away in time. If not,
    // it is noted. Throws std::bad_alloc.
    [[nodiscard]] bool Repeats(const WrittenRecord& record);

    // Whether a record was forgotten for want of room, so that a later one may have been taken for
    // the first of its kind.
    [[nodiscard]] bool HasForgotten() const { return m_HasForgotten; }

 private:
    struct Noted {
        std::uint64_t key;
        std::uint32_t linkType;
        std::uint32_t originalLength;
        std::vector<std::uint8_t> bytes;
    };
    using ByTime = std::multimap<std::int64_t, Noted>;

    [[nodiscard]] std::uint64_t HashOf(std::span<const std::uint8_t> bytes) const;
    [[nodiscard]] std::uint64_t StretchOf(std::int64_t time) const;
    [[nodiscard]] bool HasEqual(std::uint64_t key, const WrittenRecord& record) const;
    [[nodiscard]] bool MakeRoom(std::size_t count);
    void ForgetFirst();

    std::int64_t m_Width;
    std::size_t m_Room;
    std::size_t m_Used = 0;  // of the room
    bool m_HasForgotten = false;
    std::array<std::uint8_t, 192> m_Secret;
    std::int64_t m_Previous = std::numeric_limits<std::int64_t>::max();  // time of the last record
    ByTime m_ByTime;
    std::unordered_multimap<std::uint64_t, ByTime::iterator> m_ByKey;
};

}  // namespace velora::merge
