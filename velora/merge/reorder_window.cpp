#include "velora/merge/reorder_window.h"

#include <stdexcept>
#include <utility>

#include "velora/utils/saturating.h"

namespace velora::merge {

ReorderWindow::ReorderWindow(input::InputSet& inputs, std::uint32_t source, output::Ledger& ledger)
    : m_Blocks(inputs, source, ledger) {
    if (!inputs.OrdersBlocks()) {
        throw std::invalid_argument("ordersBlocks");  // else it would go wrong in silence
    }
}

ReorderWindow::HeldBlock ReorderWindow::TakeBlock() {
    const capture::RecordBlock* const block = m_Blocks.Take();
    if (block == nullptr) {
        return {};
    }
    return {true, capture::BlockCursor(*block), block->EarliestTime(), block->LatestTime()};
}

// Records of the newer block that belong among those of the older one make the two take turns.
void ReorderWindow::TakeNewer() {
    m_Newer = TakeBlock();
    m_IsAlone = !m_Newer.isThere || m_Older.latest <= m_Newer.earliest;
}

RecordSource::Step ReorderWindow::Choose() {
    m_Run = nullptr;
    if (!std::exchange(m_HasBegun, true)) {
        m_Older = TakeBlock();
        TakeNewer();
    }
    for (;;) {
        // At once, block for block: a file may describe any number of interfaces.
        if (m_Carried = m_Blocks.TakeDescribed(); !m_Carried.empty()) {
            return Step::kCarried;
        }
        if (!m_Older.isThere) {
            return Step::kEnd;
        }
        if (!m_Older.cursor.AtEnd()) {
            break;
        }
        m_Blocks.GiveBack();
        m_Older = std::exchange(m_Newer, {});
        if (m_Older.isThere) {
            TakeNewer();
        }
    }
    const bool isNewerFirst = !m_IsAlone && !m_Newer.cursor.AtEnd() &&
                              m_Newer.cursor.Current().time < m_Older.cursor.Current().time;
    m_Run = isNewerFirst ? &m_Newer.cursor : &m_Older.cursor;
    CountIfOutOfPlace(m_Run->Current().time);
    return Step::kRecord;
}

void ReorderWindow::CountIfOutOfPlace(std::int64_t time) {
    if (time >= m_Time) {
        m_Time = time;
    } else {
        m_Blocks.CountOutOfPlace(MiscUtils::SaturatingDifference(m_Time, time));
    }
}

}  // namespace velora::merge
