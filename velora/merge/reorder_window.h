// ReorderWindow: the records of one input, put in order as far as two neighbouring blocks reach.
//
// A record that belongs into its own block or the one before it is put in place, stably. One that
// belongs further back is given as soon as it is met, which is at once since all others are later;
// it is counted with the largest step. How far disorder is mended depends on the size of the
// blocks, that is, on the number of inputs, and never on timing.

#pragma once

#include <cstdint>

#include "velora/merge/record_source.h"
#include "velora/merge/source_blocks.h"
#include "velora/utils/api.h"

namespace velora::merge {

class VELORA_API ReorderWindow final : public RecordSource {
 public:
    // What is borrowed outlives the object. Throws std::invalid_argument unless the blocks of the
    // inputs are ordered within themselves (BlockReader::Options::ordersBlocks).
    ReorderWindow(input::InputSet& inputs, std::uint32_t source, output::Ledger& ledger);

 protected:
    [[nodiscard]] Step Choose() override;

 private:
    struct HeldBlock {
        bool isThere = false;
        capture::BlockCursor cursor;
        std::int64_t earliest = 0;
        std::int64_t latest = 0;
    };

    [[nodiscard]] HeldBlock TakeBlock();
    void TakeNewer();
    void CountIfOutOfPlace(std::int64_t time);

    SourceBlocks m_Blocks;
    bool m_HasBegun = false;
    HeldBlock m_Older;
    HeldBlock m_Newer;  // behind the older one
};

}  // namespace velora::merge
