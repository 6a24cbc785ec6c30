// InputOrder: the records of one input, put in order as far as two neighbouring blocks reach.
//
// A record that belongs into its own block or the one before it is put in place, stably. One that
// belongs further back is given as soon as it is met, which is at once since all others are later;
// it is counted with the largest step. How far disorder is mended depends on the size of the
// blocks, that is, on the number of inputs, and never on timing.

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <vector>

#include "velora/capture/record_block.h"
#include "velora/input/read_ahead.h"
#include "velora/merge/input_tally.h"

namespace velora::merge {

// One of the interfaces that an input's records name, as the output has it.
struct OutputInterface {
    std::uint32_t linkType = 0;  // raw IP is always 101
    std::uint32_t number = 0;    // among the output's
};

class InputOrder {
 public:
    // Told of each block when it is taken, before any of its records.
    using BlockSink = std::function<void(capture::RecordBlock&)>;

    // Takes the first block, waiting for it. When `mends` is false the records come as they stand
    // in the file. `ahead` and `tally` outlive the object.
    InputOrder(input::ReadAhead& ahead, std::size_t input, bool mends, InputTally& tally,
               BlockSink onBlock);
    InputOrder(InputOrder&&) = default;  // before Begin only: from then on it points into itself
    InputOrder(const InputOrder&) = delete;
    InputOrder& operator=(const InputOrder&) = delete;
    InputOrder& operator=(InputOrder&&) = delete;
    ~InputOrder() = default;

    // Stands on the first record, waiting for what it takes to know it. Once, before all below.
    void Begin();

    // There is no record any more.
    [[nodiscard]] bool AtEnd() const { return m_Active == nullptr; }
    // Not at the end; valid until the next Advance.
    [[nodiscard]] const capture::Record& Current() const { return m_Active->Current(); }

    // Goes to the next record, waiting for it; not at the end.
    void Advance() {
        m_Active->Advance();
        if (m_Overlaps || m_Active->AtEnd()) {
            Settle();
        }
        if (m_Active != nullptr && m_Mends) {
            NotePlace(m_Active->Current().time);
        }
    }

    // What is counted of the input.
    [[nodiscard]] InputTally& Tally() { return m_Tally; }

    // What the output made of the interfaces that the blocks so far have described, in their order.
    // Kept for outputs that hold more than one interface; empty otherwise.
    std::vector<OutputInterface> interfaces;

 private:
    struct Held {
        bool isThere = false;
        capture::BlockCursor cursor;
        std::int64_t earliest = 0;
        std::int64_t latest = 0;
    };

    [[nodiscard]] Held TakeBlock();
    void Settle();
    void Shift();

    void NotePlace(std::int64_t time) {
        if (time >= m_Latest) {
            m_Latest = time;
            return;
        }
        NoteOutOfPlace(time);
    }
    void NoteOutOfPlace(std::int64_t time);

    input::ReadAhead& m_Ahead;
    std::size_t m_Input;
    bool m_Mends;
    InputTally& m_Tally;
    BlockSink m_OnBlock;

    // Two blocks at most are held: the older one, and, when mending, the one behind it.
    Held m_Older;
    Held m_Newer;
    bool m_Overlaps = false;  // records of the newer belong among those of the older
    capture::BlockCursor* m_Active = nullptr;  // the one with the current record
    std::int64_t m_Latest = std::numeric_limits<std::int64_t>::min();  // of those given so far
};

}  // namespace velora::merge
