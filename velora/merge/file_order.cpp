#include "velora/merge/file_order.h"

namespace velora::merge {

RecordSource::Step FileOrder::Choose() {
    m_Run = nullptr;
    m_IsAlone = true;
    while (m_Cursor.AtEnd()) {
        if (m_HasBlock) {
            m_Blocks.GiveBack();
        }
        const capture::RecordBlock* const block = m_Blocks.Take();
        m_HasBlock = block != nullptr;
        if (!m_HasBlock) {
            return Step::kEnd;
        }
        m_Cursor = capture::BlockCursor(*block);
        if (m_Carried = m_Blocks.TakeDescribed(); !m_Carried.empty()) {
            return Step::kCarried;
        }
    }
    m_Run = &m_Cursor;
    m_Time = m_Cursor.Current().time;
    return Step::kRecord;
}

}  // namespace velora::merge
