#include "exact/duplicate_window.h"

#include <algorithm>

#include <xxhash.h>

#include "utils/saturating.h"

namespace velora::exact {

using MiscUtils::SaturatingDifference;

bool DuplicateWindow::Equals(const Noted& noted, const WrittenRecord& record) const {
    const std::int64_t earlier = std::min(noted.time, record.time);
    const std::int64_t later = std::max(noted.time, record.time);
    return SaturatingDifference(later, earlier) <= m_Width && noted.linkType == record.linkType &&
           noted.originalLength == record.originalLength &&
           std::ranges::equal(noted.bytes, record.bytes);
}

// Records come in time order, but for those out of place, which are noted where they come: so the
// one in front may be younger than the next, which then is kept a little longer than it need be.
void DuplicateWindow::Forget(std::int64_t now) {
    while (!m_InOrder.empty() &&
           SaturatingDifference(now, m_InOrder.front()->second.time) > m_Width) {
        // cppcheck-suppress mismatchingContainerIterator ; the queue is one of iterators of the map
        m_Noted.erase(m_InOrder.front());
        m_InOrder.pop_front();
    }
}

bool DuplicateWindow::Repeats(const WrittenRecord& record) {
    m_Latest = m_InOrder.empty() ? record.time : std::max(m_Latest, record.time);
    Forget(m_Latest);
    const std::uint64_t hash =
        XXH3_64bits_withSeed(record.bytes.data(), record.bytes.size(), record.originalLength);
    const auto [first, last] = m_Noted.equal_range(hash);
    if (std::any_of(first, last, [&](const auto& noted) { return Equals(noted.second, record); })) {
        return true;
    }
    m_InOrder.push_back(m_Noted.emplace(hash, Noted{record.time,
                                                    record.linkType,
                                                    record.originalLength,
                                                    {record.bytes.begin(), record.bytes.end()}}));
    return false;
}

}  // namespace velora::exact
