// RecordWriter: from a chosen record to the bytes of the output.

#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

#include "capture/block_writer.h"
#include "capture/record.h"
#include "capture/record_encoder.h"
#include "exact/input_tally.h"
#include "exact/run_progress.h"

namespace velora::exact {

class RecordWriter {
 public:
    // The file header is the caller's to write. What is borrowed outlives the object.
    RecordWriter(capture::BlockWriter& output, const capture::RecordEncoder& encoder,
                 RunProgress& progress)
        : m_Output(output), m_Encoder(encoder), m_Progress(progress) {}

    // Writes the record with another time than its own, perhaps. False once the output has failed.
    [[nodiscard]] bool Write(const capture::Record& record, std::int64_t time, InputTally& tally) {
        tally.recordsWritten += 1;
        return WriteBytes(record.Bytes(), record.originalLength, time, tally);
    }

    // The same for a copy of a record, which counts as a copy.
    [[nodiscard]] bool WriteCopy(std::span<const std::uint8_t> bytes, std::uint32_t originalLength,
                                 std::int64_t time, InputTally& tally) {
        tally.copies += 1;
        return WriteBytes(bytes, originalLength, time, tally);
    }

    [[nodiscard]] std::uint64_t Count() const { return m_Count; }
    // The span of the times asked for.
    [[nodiscard]] std::int64_t Earliest() const { return m_Earliest; }
    [[nodiscard]] std::int64_t Latest() const { return m_Latest; }

 private:
    [[nodiscard]] bool WriteBytes(std::span<const std::uint8_t> bytes, std::uint32_t originalLength,
                                  std::int64_t time, InputTally& tally) {
        const capture::TimeChange change =
            m_Encoder.EncodeHeader(m_Output.Reserve(capture::RecordEncoder::kHeaderSize), time,
                                   static_cast<std::uint32_t>(bytes.size()), originalLength);
        if (change != capture::TimeChange::kAsIs) {
            Count(change, tally);
        }
        m_Earliest = std::min(m_Earliest, time);
        m_Latest = std::max(m_Latest, time);
        m_Progress.records.store(++m_Count, std::memory_order_relaxed);
        return m_Output.Commit(capture::RecordEncoder::kHeaderSize) && m_Output.Append(bytes);
    }

    static void Count(capture::TimeChange change, InputTally& tally) {
        switch (change) {
            case capture::TimeChange::kAsIs:
                break;
            case capture::TimeChange::kBefore1970:
                tally.beforeEpoch += 1;
                break;
            case capture::TimeChange::kBeyondLast:
                tally.beyondEnd += 1;
                break;
            case capture::TimeChange::kFinerThanUnit:
                tally.roundedDown += 1;
                break;
        }
    }

    capture::BlockWriter& m_Output;
    const capture::RecordEncoder& m_Encoder;
    RunProgress& m_Progress;
    std::uint64_t m_Count = 0;
    std::int64_t m_Earliest = std::numeric_limits<std::int64_t>::max();
    std::int64_t m_Latest = std::numeric_limits<std::int64_t>::min();
};

}  // namespace velora::exact
