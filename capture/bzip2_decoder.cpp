// bzip2 by libbz2. It decodes whole blocks only, checks a block's sum when all of the block is
// given, and calls a wrong sum what it calls other damage. Of a block that ends in half a run it
// gives what fitted into the calls before the one that finds out.

#include <algorithm>
#include <limits>

#include <bzlib.h>

#include "capture/decoder.h"

namespace velora::capture {
namespace {

unsigned Limited(std::size_t size) {
    return static_cast<unsigned>(std::min<std::size_t>(size, std::numeric_limits<int>::max()));
}

class Bzip2Decoder final : public Decoder {
 public:
    Bzip2Decoder() { Reset(); }
    ~Bzip2Decoder() override { BZ2_bzDecompressEnd(&m_Stream); }
    Bzip2Decoder(const Bzip2Decoder&) = delete;
    Bzip2Decoder& operator=(const Bzip2Decoder&) = delete;

    void Reset() override {
        BZ2_bzDecompressEnd(&m_Stream);
        m_Stream = {};
        m_Result = BZ2_bzDecompressInit(&m_Stream, 0, 0);
    }

    Step Decode(std::span<const std::uint8_t> in, std::span<std::uint8_t> out) override {
        Step step;
        if (m_Result == BZ_OK) {
            m_Stream.next_in = const_cast<char*>(reinterpret_cast<const char*>(in.data()));
            m_Stream.avail_in = Limited(in.size());
            m_Stream.next_out = reinterpret_cast<char*>(out.data());
            m_Stream.avail_out = Limited(out.size());
            m_Result = BZ2_bzDecompress(&m_Stream);
            step.taken = Limited(in.size()) - m_Stream.avail_in;
            step.given = Limited(out.size()) - m_Stream.avail_out;
        }
        if (m_Result == BZ_STREAM_END) {
            step.isMemberEnd = true;
        } else if (m_Result == BZ_MEM_ERROR) {
            step.fault = NoMemory(Compression::kBzip2);
        } else if (m_Result != BZ_OK) {
            step.fault = BadData(Compression::kBzip2, "invalid block or wrong checksum");
        }
        return step;
    }

 private:
    bz_stream m_Stream{};
    int m_Result = BZ_OK;
};

}  // namespace

std::unique_ptr<Decoder> MakeBzip2Decoder() {
    return std::make_unique<Bzip2Decoder>();
}

}  // namespace velora::capture
