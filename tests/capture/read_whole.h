// A capture read to its end through the BlockReader, with all that it tells: for tests and fuzzers.

#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "velora/capture/block_reader.h"

namespace velora::capture {

struct OwnedRecord {
    std::int64_t time;
    std::uint32_t originalLength;
    std::uint32_t interface;
    std::string data;
    bool operator==(const OwnedRecord&) const = default;
};

struct ReadCapture {
    bool isCapture = false;
    CaptureTraits traits;
    std::vector<std::vector<OwnedRecord>> blocks;
    std::uint64_t recordsRead = 0;
    std::uint64_t recordsLeftOut = 0;
    std::uint64_t stepsBack = 0;
    Extras extras;
    std::size_t interfaces = 0;
    std::optional<Problem> problem;
    std::size_t largestRoom = 0;  // bytes that a block took

    [[nodiscard]] std::vector<OwnedRecord> Records() const {
        std::vector<OwnedRecord> all;
        for (const auto& block : blocks) {
            all.insert(all.end(), block.begin(), block.end());
        }
        return all;
    }
};

// The file arrives in pieces of that many bytes. `error`, an errno value, is what stands at its end if not 0.
inline ReadCapture ReadWhole(std::string_view file, const BlockReader::Options& options = {},
                             std::size_t piece = std::string_view::npos, int error = 0) {
    BlockReader reader(options);
    RecordBlock blocks[2];  // the one behind still has what its end cut
    ReadCapture read;
    for (bool isLast = false; !isLast; std::swap(blocks[0], blocks[1])) {
        RecordBlock& block = blocks[0];
        while (reader.Read(block) == BlockReader::State::kNeedsBytes) {
            const std::span<std::uint8_t> place = reader.Wanted(block);
            const std::size_t count = std::min({piece, place.size(), file.size()});
            std::copy_n(file.begin(), count, place.begin());
            file.remove_prefix(count);
            reader.Take(count > 0 ? static_cast<std::ptrdiff_t>(count) : -error);
        }
        read.blocks.emplace_back();
        for (BlockCursor cursor(block); !cursor.AtEnd(); cursor.Advance()) {
            const Record& record = cursor.Current();
            read.blocks.back().push_back({record.time, record.originalLength, record.interface->number,
                                          std::string(record.Bytes().begin(), record.Bytes().end())});
        }
        read.recordsRead += block.recordsRead;
        read.recordsLeftOut += block.recordsLeftOut;
        read.stepsBack += block.stepsBack;
        read.extras += block.extras;
        for (const DescribedInterfaces& one : block.described) {
            read.interfaces += one.count;
        }
        read.problem = block.problem;
        read.largestRoom = std::max(read.largestRoom, block.Room().size());
        isLast = block.isLast;
    }
    read.isCapture = reader.IsCapture();
    read.traits = reader.Traits();
    return read;
}

}  // namespace velora::capture
