#include "velora/merge/duplicate_window.h"

#include <algorithm>
#include <utility>

#include <xxhash.h>

#include "velora/utils/saturating.h"

namespace velora::merge {

using MiscUtils::SaturatingDifference;

bool DuplicateWindow::Equals(const Noted& noted, const WrittenRecord& record) const {
    const std::int64_t earlier = std::min(noted.time, record.time);
    const std::int64_t later = std::max(noted.time, record.time);
    return SaturatingDifference(later, earlier) <= m_Width && noted.linkType == record.linkType &&
           noted.originalLength == record.originalLength &&
           std::ranges::equal(noted.bytes, record.bytes);
}

void DuplicateWindow::ForgetBefore(std::int64_t time) {
    while (!m_ByTime.empty() && m_ByTime.begin()->first < time) {
        // cppcheck-suppress mismatchingContainerIterator ; one map is of iterators of the other
        m_ByHash.erase(m_ByTime.begin()->second);
        m_ByTime.erase(m_ByTime.begin());
    }
}

bool DuplicateWindow::Repeats(const WrittenRecord& record) {
    // Of two, since a single one far ahead of the rest is no reason to forget the rest.
    const std::int64_t now = std::min(std::exchange(m_Previous, record.time), record.time);
    ForgetBefore(MiscUtils::SaturatingDifference(now, m_Width));
    const std::uint64_t hash =
        XXH3_64bits_withSeed(record.bytes.data(), record.bytes.size(), record.originalLength);
    const auto [first, last] = m_ByHash.equal_range(hash);
    if (std::any_of(first, last, [&](const auto& noted) { return Equals(noted.second, record); })) {
        return true;
    }
    const auto noted = m_ByHash.emplace(hash, Noted{record.time,
                                                    record.linkType,
                                                    record.originalLength,
                                                    {record.bytes.begin(), record.bytes.end()}});
    m_ByTime.emplace_hint(m_ByTime.end(), record.time, noted);
    return false;
}

}  // namespace velora::merge
