#include "velora/merge/source_blocks.h"

#include <utility>

namespace velora::merge {

const capture::RecordBlock* SourceBlocks::Take() {
    const capture::RecordBlock* const block = m_Inputs.Take(m_Source);
    if (block != nullptr) {
        m_Ledger.CountBlock(m_Source, *block);
        m_Described.insert(m_Described.end(), block->described.begin(), block->described.end());
    }
    return block;
}

std::vector<capture::DescribedInterfaces> SourceBlocks::TakeDescribed() {
    return std::exchange(m_Described, {});
}

}  // namespace velora::merge
