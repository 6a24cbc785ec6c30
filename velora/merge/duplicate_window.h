// DuplicateWindow: which records repeat one that was written shortly before.
//
// Records are equal when link type, length on the wire and all captured bytes are. They are found
// by a hash (XXH3 of xxHash), and compared byte for byte before anything is said of them. What is
// older than the window, seen from the record written last, is forgotten: its memory is what was
// written in that time, and about 200 bytes for each record.

#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <span>
#include <unordered_map>
#include <vector>

namespace velora::merge {

// A record as it stands in the output.
struct WrittenRecord {
    std::int64_t time = 0;
    std::uint32_t linkType = 0;
    std::uint32_t originalLength = 0;     // bytes on the wire
    std::span<const std::uint8_t> bytes;  // those that the output keeps
};

class DuplicateWindow {
 public:
    // `width` in nanoseconds: 0 looks back to records of the same time only.
    explicit DuplicateWindow(std::int64_t width) : m_Width(width) {}

    // Whether the record equals one that was noted and is at most the width away in time. If not,
    // it is noted. Throws std::bad_alloc.
    [[nodiscard]] bool Repeats(const WrittenRecord& record);

 private:
    struct Noted {
        std::int64_t time;
        std::uint32_t linkType;
        std::uint32_t originalLength;
        std::vector<std::uint8_t> bytes;
    };
    using ByHash = std::unordered_multimap<std::uint64_t, Noted>;

    void ForgetBefore(std::int64_t time);
    [[nodiscard]] bool Equals(const Noted& noted, const WrittenRecord& record) const;

    std::int64_t m_Width;
    std::int64_t m_Previous = std::numeric_limits<std::int64_t>::max();  // time of the last record
    ByHash m_ByHash;
    std::multimap<std::int64_t, ByHash::iterator> m_ByTime;
};

}  // namespace velora::merge
