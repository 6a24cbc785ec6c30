// TimeHistogram: how many records lie where on the axis of time, in a fixed number of buckets.
//
// Where the span of the times is not known ahead, the buckets are as narrow as the times so far
// allow, and double their width as the span grows: at the end the span is at least 512 buckets
// wide, unless it is shorter than a microsecond. 8 KiB, whatever is added, in any order.
//
//     TimeHistogram histogram;
//     for (const Record& record : records) histogram.Add(record.time);
//     for (std::size_t bucket = 0; bucket < TimeHistogram::kBuckets; ++bucket) {
//         Draw(histogram.Start(bucket), histogram.Width(), histogram.Count(bucket));
//     }
//
// Adding costs a few instructions, and a pass over the buckets where the span has grown too large.

#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace velora::utils {

class TimeHistogram {
 public:
    // Parts that the span is in.
    static constexpr std::size_t kBuckets = 1024;

    // Counts a record of that time, in nanoseconds since 1970.
    void Add(std::int64_t time) {
        std::uint64_t bucket = BucketOf(time);
        if (bucket >= kBuckets || m_Total == 0) [[unlikely]] {
            MakeRoom(time);
            bucket = BucketOf(time);
        }
        m_Counts[bucket] += 1;
        m_Total += 1;
        m_Earliest = std::min(m_Earliest, time);
        m_Latest = std::max(m_Latest, time);
    }

    // Times counted, in all buckets.
    [[nodiscard]] std::uint64_t Total() const { return m_Total; }
    // The times that were added, the first and the last; 0 when there are none.
    [[nodiscard]] std::int64_t Earliest() const { return m_Earliest; }
    [[nodiscard]] std::int64_t Latest() const { return m_Latest; }

    // Records from Start(bucket) on, and before that plus the width. The width is a power of two,
    // and buckets start at its multiples.
    [[nodiscard]] std::uint64_t Count(std::size_t bucket) const { return m_Counts[bucket]; }
    [[nodiscard]] std::uint64_t Width() const { return std::uint64_t{1} << m_Shift; }
    // Buckets beyond what 64 bits hold start at the last time that they do.
    [[nodiscard]] std::int64_t Start(std::size_t bucket) const {
        const std::int64_t number = m_First + static_cast<std::int64_t>(bucket);
        return std::min(number, Limits::max() >> m_Shift) * static_cast<std::int64_t>(Width());
    }

 private:
    using Limits = std::numeric_limits<std::int64_t>;

    [[nodiscard]] std::uint64_t BucketOf(std::int64_t time) const {
        return static_cast<std::uint64_t>(time >> m_Shift) - static_cast<std::uint64_t>(m_First);
    }

    void MakeRoom(std::int64_t time) {
        if (m_Total == 0) {
            m_First = time >> m_Shift;
            m_Earliest = m_Latest = time;
            return;
        }
        const std::int64_t earliest = std::min(m_Earliest, time);
        const std::int64_t latest = std::max(m_Latest, time);
        int shift = m_Shift;
        while (static_cast<std::uint64_t>(latest >> shift) -
                   static_cast<std::uint64_t>(earliest >> shift) >=
               kBuckets) {
            ++shift;
        }
        // What room is left lies where the times grow to.
        const std::int64_t first =
            time < m_Earliest
                ? std::max((latest >> shift) - std::int64_t{kBuckets - 1}, Limits::min() >> shift)
                : earliest >> shift;
        std::array<std::uint64_t, kBuckets> counts{};
        for (std::size_t bucket = 0; bucket < kBuckets; ++bucket) {
            if (m_Counts[bucket] > 0) {
                const std::int64_t number = m_First + static_cast<std::int64_t>(bucket);
                counts[static_cast<std::size_t>((number >> (shift - m_Shift)) - first)] +=
                    m_Counts[bucket];
            }
        }
        m_Counts = counts;
        m_First = first;
        m_Shift = shift;
    }

    int m_Shift = 1;           // at least, so that differences of numbers do not wrap
    std::int64_t m_First = 0;  // number of the first bucket: its start in units of the width
    std::int64_t m_Earliest = 0;
    std::int64_t m_Latest = 0;
    std::uint64_t m_Total = 0;
    std::array<std::uint64_t, kBuckets> m_Counts{};
};

}  // namespace velora::utils
