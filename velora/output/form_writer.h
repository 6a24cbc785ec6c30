// FormWriter: records on their way to a sink of bytes, in the form that an output is to have: the
// form's own sink, blocks of bytes, a compressor where one is asked for.

#pragma once

#include <memory>
#include <string>
#include <vector>

#include "velora/codec/byte_sink.h"
#include "velora/codec/compression.h"
#include "velora/output/block_writer.h"
#include "velora/output/ledger.h"
#include "velora/output/output_form.h"
#include "velora/output/record_sink.h"
#include "velora/utils/api.h"

namespace velora::output {

// How bytes are written.
struct WritingMeans {
    codec::Compression compression = codec::Compression::kNone;  // or kGzip, kZstd
    // Besides the owner's. None: it writes and compresses as blocks fill. Of more than one, zstd
    // makes use.
    unsigned threads = 0;
};

class VELORA_API FormWriter {
 public:
    // `below` and `ledger` are borrowed and outlive it. `names` are those of the sources, as
    // PcapNgSink takes them. Throws std::bad_alloc and std::system_error.
    FormWriter(codec::ByteSink& below, const WritingMeans& means, const OutputForm& form,
               std::vector<std::string> names, Ledger& ledger);

    // Where the records go. Its Finish finishes `below` too.
    [[nodiscard]] RecordSink& Sink() { return *m_Sink; }
    // What is below it, to be flushed, or asked how it goes.
    [[nodiscard]] BlockWriter& Writer() { return m_Writer; }

 private:
    std::unique_ptr<codec::ByteSink> m_Compressed;
    BlockWriter m_Writer;
    std::unique_ptr<RecordSink> m_Sink;
};

}  // namespace velora::output
