#include "velora/output/form_writer.h"

#include <algorithm>
#include <utility>

#include "velora/codec/compressed_sink.h"
#include "velora/output/classic_sink.h"
#include "velora/output/pcapng_sink.h"

namespace velora::output {

namespace {

std::unique_ptr<RecordSink> MakeFormSink(BlockWriter& writer, const OutputForm& form,
                                         std::vector<std::string> names, Ledger& ledger) {
    if (form.IsPcapNg()) {
        return std::make_unique<PcapNgSink>(writer, form, std::move(names), ledger);
    }
    return std::make_unique<ClassicSink>(writer, form, ledger);
}

}  // namespace

FormWriter::FormWriter(codec::ByteSink& below, const WritingMeans& means, const OutputForm& form,
                       std::vector<std::string> names, Ledger& ledger)
    : m_Compressed(
          codec::MakeCompressedSink(means.compression, below, std::max(1U, means.threads))),
      m_Writer(m_Compressed ? *m_Compressed : below, BlockWriter::kBlockSize,
               means.threads > 0 ? BlockWriter::kBlocks : 1),
      m_Sink(MakeFormSink(m_Writer, form, std::move(names), ledger)) {}

}  // namespace velora::output
