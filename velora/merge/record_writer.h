// RecordWriter: from a chosen record to the bytes of the output, in either format.

#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <span>
#include <string_view>

#include "velora/capture/record.h"
#include "velora/merge/input_tally.h"
#include "velora/merge/reorder_window.h"
#include "velora/output/block_writer.h"
#include "velora/output/pcapng_encoder.h"
#include "velora/output/record_encoder.h"
#include "velora/output/run_progress.h"

namespace velora::merge {

// What an output is like as a whole.
struct OutputForm {
    bool isPcapNg = false;        // else classic
    bool hasNanoseconds = false;  // of a classic one
    bool cutsFinerTimes = false;  // what is finer than the unit is cut without being counted
    std::uint32_t linkType = 1;   // of a classic one
    std::uint32_t fcsBits = 0;    // of a classic one
    std::uint32_t snapLen = 0;    // as it is declared
    std::uint32_t mostBytes = std::numeric_limits<std::uint32_t>::max();  // kept of a record
};

// A record as it stands in the output, but for its time.
struct WrittenRecord {
    std::int64_t time = 0;                // as captured
    std::uint32_t linkType = 0;           // that of its interface in the output
    std::uint32_t originalLength = 0;     // bytes on the wire
    std::span<const std::uint8_t> bytes;  // those that the output keeps
};

class RecordWriter {
 public:
    // What is borrowed outlives the object.
    RecordWriter(output::BlockWriter& output, const OutputForm& form, output::RunProgress& progress)
        : m_Output(output),
          m_Form(form),
          m_Encoder(form.hasNanoseconds ? output::RecordEncoder::Unit::kNanoseconds
                                        : output::RecordEncoder::Unit::kMicroseconds),
          m_Progress(progress) {}

    // What the file begins with. Each of these is false once the output has failed.
    [[nodiscard]] bool WriteFileHeader();

    // Describes a further interface of an output that is pcap-ng, with the name of its input in
    // UTF-8, and notes it among the input's.
    [[nodiscard]] bool WriteInterface(InputOrder& input, const capture::Interface& interface,
                                      std::string_view name);

    // Writes the record that the input stands on, with another time than its own, perhaps.
    [[nodiscard]] bool Write(InputOrder& input, std::int64_t time) {
        InputTally& tally = input.Tally();
        tally.recordsWritten += 1;
        if (tally.timeline != nullptr) [[unlikely]] {
            tally.timeline->captured.Add(input.Current().time);
            tally.timeline->written.Add(time);
        }
        output::TimeChange change = output::TimeChange::kAsIs;
        const bool isGood = WriteBytes(input, KeptBytes(input.Current()), time, change);
        if (change != output::TimeChange::kAsIs) [[unlikely]] {
            CountChange(change, tally);
        }
        return isGood;
    }

    // The same for a copy of it with other bytes, as many as AsWritten gives. It counts as a copy,
    // and nothing else is counted of it: what became of the time was with the record.
    [[nodiscard]] bool WriteCopy(InputOrder& input, std::span<const std::uint8_t> bytes,
                                 std::int64_t time) {
        input.Tally().copies += 1;
        output::TimeChange change = output::TimeChange::kAsIs;
        return WriteBytes(input, bytes, time, change);
    }

    // The record that the input stands on.
    [[nodiscard]] WrittenRecord AsWritten(const InputOrder& input) const {
        const capture::Record& record = input.Current();
        return {record.time,
                m_Form.isPcapNg ? input.interfaces[record.interface].linkType : m_Form.linkType,
                record.originalLength, KeptBytes(record)};
    }

    // Records written, copies included.
    [[nodiscard]] std::uint64_t Count() const { return m_Count; }
    // Records earlier than the one before.
    [[nodiscard]] std::uint64_t StepsBack() const { return m_StepsBack; }
    // The span of the times asked for.
    [[nodiscard]] std::int64_t Earliest() const { return m_Earliest; }
    [[nodiscard]] std::int64_t Latest() const { return m_Latest; }

 private:
    [[nodiscard]] std::span<const std::uint8_t> KeptBytes(const capture::Record& record) const {
        return {record.data, std::min(record.capturedLength, m_Form.mostBytes)};
    }

    // `change` becomes what the output makes of the time.
    [[nodiscard]] bool WriteBytes(const InputOrder& input, std::span<const std::uint8_t> bytes,
                                  std::int64_t time, output::TimeChange& change) {
        m_StepsBack += time < m_Previous ? 1 : 0;
        m_Previous = time;
        m_Earliest = std::min(m_Earliest, time);
        m_Latest = std::max(m_Latest, time);
        m_Progress.records.store(++m_Count, std::memory_order_relaxed);
        if (m_Form.isPcapNg) {
            return WritePacketBlock(input, bytes, time, change);
        }
        using output::RecordEncoder;
        change = m_Encoder.EncodeHeader(m_Output.Reserve(), time,
                                        static_cast<std::uint32_t>(bytes.size()),
                                        input.Current().originalLength);
        return m_Output.Commit(RecordEncoder::kHeaderSize) && m_Output.Append(bytes);
    }

    [[nodiscard]] bool WritePacketBlock(const InputOrder& input,
                                        std::span<const std::uint8_t> bytes, std::int64_t time,
                                        output::TimeChange& change);
    void CountChange(output::TimeChange change, InputTally& tally) const;

    output::BlockWriter& m_Output;
    const OutputForm m_Form;
    const output::RecordEncoder m_Encoder;
    output::RunProgress& m_Progress;
    std::uint64_t m_Count = 0;
    std::uint32_t m_Interfaces = 0;
    std::uint64_t m_StepsBack = 0;
    std::int64_t m_Previous = std::numeric_limits<std::int64_t>::min();
    std::int64_t m_Earliest = std::numeric_limits<std::int64_t>::max();
    std::int64_t m_Latest = std::numeric_limits<std::int64_t>::min();
};

}  // namespace velora::merge
