// InputSet: the inputs of a run, opened, each read ahead of need. Those that are captures are its
// sources, numbered in the order of the inputs.
//
// Example:
//     InputSet inputs(std::move(files), plan, options, bytesRead, onProblem);
//     for (std::uint32_t source = 0; source < inputs.Sources().size(); ++source) {
//         while (const capture::RecordBlock* block = inputs.Take(source)) {
//             Use(*block);
//             inputs.GiveBack(source);
//         }
//     }
//
// One thread uses it; any may ask for a stop.

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <stop_token>
#include <vector>

#include "velora/capture/block_reader.h"
#include "velora/capture/input_file.h"
#include "velora/input/read_ahead.h"
#include "velora/utils/api.h"

namespace velora::input {

class VELORA_API InputSet {
 public:
    // An input that is a capture.
    struct Source {
        std::size_t file = 0;           // counts the files that were given
        capture::CaptureTraits traits;  // what it says of itself
    };

    // Told of what is wrong with a file, when the block that shows it is taken: whether it is a
    // capture up to there.
    using OnProblem =
        std::function<void(std::size_t file, bool isSource, const capture::Problem& problem)>;

    // Begins to read, and waits for the first block of every file: by then it is known what it is.
    // `stop` ends that waiting as well. Throws as ReadAhead does.
    InputSet(std::vector<capture::InputFile> files, const BlockPlan& plan,
             const capture::BlockReader::Options& options, std::atomic<std::uint64_t>& bytesRead,
             OnProblem onProblem, const std::stop_token& stop = {});

    // The inputs that are captures; after a stop those of which that was known.
    [[nodiscard]] std::span<const Source> Sources() const { return m_Sources; }

    // As ReadAhead has it: the next block, waiting for it, or null behind the last, or since a stop
    // was asked for.
    [[nodiscard]] const capture::RecordBlock* Take(std::uint32_t source);
    void GiveBack(std::uint32_t source) { m_Ahead.GiveBack(m_Sources[source].file); }

    // As ReadAhead has it, once the last block was taken: what happened to the file meanwhile.
    [[nodiscard]] std::optional<capture::Problem> Change(std::uint32_t source) {
        return m_Ahead.Change(m_Sources[source].file);
    }

    // The records of each block are to be taken by time.
    [[nodiscard]] bool OrdersBlocks() const { return m_OrdersBlocks; }

 private:
    [[nodiscard]] const capture::RecordBlock* TakeBlock(std::size_t file);

    ReadAhead m_Ahead;
    OnProblem m_OnProblem;
    bool m_OrdersBlocks;
    std::vector<Source> m_Sources;
    std::vector<const capture::RecordBlock*> m_First;  // of each source, until it is taken
};

}  // namespace velora::input
