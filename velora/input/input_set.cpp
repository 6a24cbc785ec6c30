#include "velora/input/input_set.h"

#include <utility>

namespace velora::input {

InputSet::InputSet(std::vector<capture::InputFile> files, const BlockPlan& plan,
                   const capture::BlockReader::Options& options,
                   std::atomic<std::uint64_t>& bytesRead, OnProblem onProblem,
                   const std::stop_token& stop)
    : m_Ahead(std::move(files), plan, options, bytesRead, stop),
      m_OnProblem(std::move(onProblem)),
      m_OrdersBlocks(options.ordersBlocks) {
    for (std::size_t file = 0; file < m_Ahead.Size(); ++file) {
        const capture::RecordBlock* const first = TakeBlock(file);
        if (first == nullptr) {
            return;  // stopped: nothing is known of this one
        }
        if (m_Ahead.IsCapture(file)) {
            m_Sources.push_back({file, m_Ahead.Traits(file)});
            m_First.push_back(first);
        }
    }
}

const capture::RecordBlock* InputSet::TakeBlock(std::size_t file) {
    const capture::RecordBlock* const block = m_Ahead.Take(file);
    if (block != nullptr && block->problem) {
        m_OnProblem(file, m_Ahead.IsCapture(file), *block->problem);
    }
    return block;
}

const capture::RecordBlock* InputSet::Take(std::uint32_t source) {
    if (const capture::RecordBlock* const first = std::exchange(m_First[source], nullptr)) {
        return first;
    }
    return TakeBlock(m_Sources[source].file);
}

}  // namespace velora::input
