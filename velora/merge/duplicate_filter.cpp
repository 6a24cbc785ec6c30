#include "velora/merge/duplicate_filter.h"

namespace velora::merge {

bool DuplicateFilter::Put(const output::Item& item, std::span<const std::uint8_t> kept) {
    const capture::Record& record = *item.record;
    if (m_Window.Repeats({item.time, record.interface->linkType, record.originalLength, kept})) {
        m_Ledger.Of(item.source).duplicates += 1;
        return true;
    }
    // Told of one source: which it is depends on what came before, of all of them.
    if (m_Window.HasForgotten() && !m_HasTold) {
        m_HasTold = true;
        m_Ledger.Of(item.source).mayRepeat = true;
    }
    return m_Next.Put(item, kept);
}

}  // namespace velora::merge
