// xz by liblzma, which calls a wrong checksum what it calls other damage. A decoder for each
// stream: the library's own loop over streams refuses padding that is no multiple of four.

#include <lzma.h>

#include "velora/codec/steady_decoder.h"

namespace velora::codec {
namespace {

// A dictionary has 2^n or 1.5 * 2^n bytes. This has room for one of 128 MiB and what the decoder
// wants besides, and none for the next larger, 192 MiB.
constexpr std::uint64_t kMemoryLimit = std::uint64_t{160} << 20U;

class XzDecoder final : public Decoder {
 public:
    XzDecoder() { Reset(); }
    ~XzDecoder() override { lzma_end(&m_Stream); }
    XzDecoder(const XzDecoder&) = delete;
    XzDecoder& operator=(const XzDecoder&) = delete;

    void Reset() override {
        m_Result = lzma_stream_decoder(&m_Stream, kMemoryLimit, LZMA_TELL_UNSUPPORTED_CHECK);
    }

    Step Decode(std::span<const std::uint8_t> in, std::span<std::uint8_t> out) override {
        Step step;
        if (m_Result == LZMA_OK) {
            m_Stream.next_in = in.data();
            m_Stream.avail_in = in.size();
            m_Stream.next_out = out.data();
            m_Stream.avail_out = out.size();
            m_Result = lzma_code(&m_Stream, LZMA_RUN);
            step.taken = in.size() - m_Stream.avail_in;
            step.given = out.size() - m_Stream.avail_out;
        }
        switch (m_Result) {
            case LZMA_OK:
                break;
            case LZMA_BUF_ERROR:  // neither took nor gave: goes on with more
                m_Result = LZMA_OK;
                break;
            case LZMA_STREAM_END:
                step.isMemberEnd = true;
                break;
            case LZMA_MEMLIMIT_ERROR:
                step.fault = Refused(Refusal::kLargeXzDictionary,
                                     "its xz dictionary is larger than 128 MiB");
                break;
            case LZMA_MEM_ERROR:
                step.fault = NoMemory(Compression::kXz);
                break;
            case LZMA_UNSUPPORTED_CHECK:
                step.fault = BadData(Compression::kXz, "unknown kind of checksum");
                break;
            case LZMA_OPTIONS_ERROR:
                step.fault = BadData(Compression::kXz, "unknown options");
                break;
            default:
                step.fault = BadData(Compression::kXz, "invalid data or wrong checksum");
                break;
        }
        return step;
    }

 private:
    lzma_stream m_Stream = LZMA_STREAM_INIT;
    lzma_ret m_Result = LZMA_OK;
};

}  // namespace

std::unique_ptr<Decoder> MakeXzDecoder() {
    return std::make_unique<SteadyDecoder>(std::make_unique<XzDecoder>());
}

}  // namespace velora::codec
