#include "velora/merge/reorder_window.h"

#include <algorithm>
#include <utility>

#include "velora/utils/saturating.h"

namespace velora::merge {

using capture::BlockCursor;
using capture::RecordBlock;

InputOrder::InputOrder(input::ReadAhead& ahead, std::size_t input, bool mends, InputTally& tally,
                       BlockSink onBlock)
    : m_Ahead(ahead),
      m_Input(input),
      m_Mends(mends),
      m_Tally(tally),
      m_OnBlock(std::move(onBlock)),
      m_Older(TakeBlock()) {}

void InputOrder::Begin() {
    if (m_Mends) {
        m_Newer = TakeBlock();
        m_Overlaps = m_Newer.isThere && m_Older.latest > m_Newer.earliest;
    }
    Settle();
    if (m_Active != nullptr) {
        m_Latest = m_Active->Current().time;
    }
}

InputOrder::Held InputOrder::TakeBlock() {
    RecordBlock* const block = m_Ahead.Take(m_Input);
    if (block == nullptr) {
        return {};
    }
    m_Tally.Add(*block);
    m_OnBlock(*block);
    return {true, BlockCursor(*block), block->EarliestTime(), block->LatestTime()};
}

// Finds the cursor with the next record, over as many blocks as are empty by now.
void InputOrder::Settle() {
    m_Active = nullptr;
    while (m_Older.isThere) {
        if (!m_Older.cursor.AtEnd()) {
            const bool isNewerFirst = m_Overlaps && !m_Newer.cursor.AtEnd() &&
                                      m_Newer.cursor.Current().time < m_Older.cursor.Current().time;
            m_Active = isNewerFirst ? &m_Newer.cursor : &m_Older.cursor;
            return;
        }
        Shift();
    }
}

void InputOrder::Shift() {
    m_Ahead.GiveBack(m_Input);
    if (!m_Mends) {
        m_Older = TakeBlock();
        return;
    }
    m_Older = std::exchange(m_Newer, {});
    if (m_Older.isThere) {
        m_Newer = TakeBlock();
        m_Overlaps = m_Newer.isThere && m_Older.latest > m_Newer.earliest;
    }
}

void InputOrder::NoteOutOfPlace(std::int64_t time) {
    m_Tally.outOfPlace += 1;
    m_Tally.largestStep =
        std::max(m_Tally.largestStep, MiscUtils::SaturatingDifference(m_Latest, time));
}

}  // namespace velora::merge
