#include "velora/output/classic_sink.h"

namespace velora::output {

namespace {

RecordEncoder::Unit UnitOf(const OutputForm& form) {
    return form.format == capture::Format::kClassicNanoseconds ? RecordEncoder::Unit::kNanoseconds
                                                               : RecordEncoder::Unit::kMicroseconds;
}

}  // namespace

ClassicSink::ClassicSink(BlockWriter& writer, const OutputForm& form, Ledger& ledger)
    : m_Writer(writer),
      m_Encoder(UnitOf(form)),
      m_CutsFinerTimes(form.cutsFinerTimes),
      m_Ledger(ledger) {
    // Should it fail, so does the next record, and the end tells why.
    static_cast<void>(
        m_Writer.Append(m_Encoder.EncodeFileHeader(form.snapLen, form.linkType | form.fcsBits)));
}

}  // namespace velora::output
