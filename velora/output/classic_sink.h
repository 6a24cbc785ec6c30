// ClassicSink: writes records as a classic capture, of one link type, with times in microseconds or
// nanoseconds (velora/output/record_encoder.h).

#pragma once

#include "velora/output/block_writer.h"
#include "velora/output/ledger.h"
#include "velora/output/output_form.h"
#include "velora/output/record_encoder.h"
#include "velora/output/record_sink.h"
#include "velora/utils/api.h"

namespace velora::output {

class VELORA_API ClassicSink final : public RecordSink {
 public:
    // Writes the file header. What is borrowed outlives the sink.
    ClassicSink(BlockWriter& writer, const OutputForm& form, Ledger& ledger);

    [[nodiscard]] bool Put(const Item& item, std::span<const std::uint8_t> kept) override {
        TimeChange change = m_Encoder.EncodeHeader(m_Writer.Reserve(), item.time,
                                                   static_cast<std::uint32_t>(kept.size()),
                                                   item.record->originalLength);
        if (change == TimeChange::kFinerThanUnit && m_CutsFinerTimes) {
            change = TimeChange::kAsIs;
        }
        m_Ledger.CountWritten(item, change);
        return m_Writer.Commit(RecordEncoder::kHeaderSize) && m_Writer.Append(kept);
    }
    // A classic capture has no place for what a source carries besides.
    [[nodiscard]] bool Put(const CarriedBlock& /*carried*/) override { return true; }
    [[nodiscard]] codec::OutputOutcome Finish() override { return m_Writer.Finish(); }

 private:
    BlockWriter& m_Writer;
    const RecordEncoder m_Encoder;
    const bool m_CutsFinerTimes;
    Ledger& m_Ledger;
};

}  // namespace velora::output
