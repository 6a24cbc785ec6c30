// SourceBlocks: the blocks of one input, counted when they are taken, with what they carry besides
// records kept aside. What the kinds of RecordSource begin with.

#pragma once

#include <cstdint>
#include <vector>

#include "velora/capture/record_block.h"
#include "velora/input/input_set.h"
#include "velora/output/ledger.h"
#include "velora/utils/api.h"

namespace velora::merge {

class VELORA_API SourceBlocks {
 public:
    // The blocks of the source of that number. What is borrowed outlives the object.
    SourceBlocks(input::InputSet& inputs, std::uint32_t source, output::Ledger& ledger)
        : m_Inputs(inputs), m_Source(source), m_Ledger(ledger) {}

    // The next block, waiting for it, or null. It stays until it is given back.
    [[nodiscard]] const capture::RecordBlock* Take();
    // The one that was taken first.
    void GiveBack() { m_Inputs.GiveBack(m_Source); }

    // A record that stands behind one that is later by so many nanoseconds.
    void CountOutOfPlace(std::int64_t step) { m_Ledger.CountOutOfPlace(m_Source, step); }

    // What the blocks so far have described, but what was asked for before.
    [[nodiscard]] std::vector<capture::DescribedInterfaces> TakeDescribed();

 private:
    input::InputSet& m_Inputs;
    std::uint32_t m_Source;
    output::Ledger& m_Ledger;
    std::vector<capture::DescribedInterfaces> m_Described;
};

}  // namespace velora::merge
