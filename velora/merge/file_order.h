// FileOrder: the records of one input as they stand in the file, whatever their times.

#pragma once

#include <cstdint>

#include "velora/merge/record_source.h"
#include "velora/merge/source_blocks.h"
#include "velora/utils/api.h"

namespace velora::merge {

class VELORA_API FileOrder final : public RecordSource {
 public:
    // What is borrowed outlives the object.
    FileOrder(input::InputSet& inputs, std::uint32_t source, output::Ledger& ledger)
        : m_Blocks(inputs, source, ledger) {}

 protected:
    [[nodiscard]] Step Choose() override;

 private:
    SourceBlocks m_Blocks;
    bool m_HasBlock = false;
    capture::BlockCursor m_Cursor;
};

}  // namespace velora::merge
