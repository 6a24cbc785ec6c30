// zstd by libzstd. A call that ends in an error gives nothing, be it that it decoded whole blocks
// in front of the bad one. So no call gets more than it takes to the next place where the library
// can find something wrong, and none gets anything while bytes decoded before still wait for room.

#include <algorithm>

#include <zstd.h>
#include <zstd_errors.h>

#include "velora/codec/decoder.h"

namespace velora::codec {
namespace {

constexpr int kWindowLogMax = 27;  // 128 MiB
constexpr std::size_t kBlockHeaderSize = 3;

class ZstdDecoder final : public Decoder {
 public:
    ZstdDecoder() : m_Context(ZSTD_createDCtx()) {
        if (m_Context) {
            ZSTD_DCtx_setParameter(m_Context.get(), ZSTD_d_windowLogMax, kWindowLogMax);
        }
        Reset();
    }

    void Reset() override {
        if (m_Context) {
            m_Asked = ZSTD_initDStream(m_Context.get());
        }
        m_MayHold = false;
    }

    Step Decode(std::span<const std::uint8_t> in, std::span<std::uint8_t> out) override {
        Step step;
        if (!m_Context) {
            step.fault = NoMemory(Compression::kZstd);
            return step;
        }
        bool goesOn = true;
        while (goesOn) {
            const std::size_t before = step.given;
            ZSTD_inBuffer from{in.data() + step.taken, Admitted(in.size() - step.taken), 0};
            ZSTD_outBuffer to{out.data(), out.size(), step.given};
            const std::size_t result = ZSTD_decompressStream(m_Context.get(), &to, &from);
            if (ZSTD_isError(result) != 0) {
                step.fault = FaultFor(result);
                return step;
            }
            step.taken += from.pos;
            step.given = to.pos;
            if (result == 0) {
                step.isMemberEnd = true;
                return step;
            }
            m_Asked = result;
            const bool wasHolding = m_MayHold;
            m_MayHold = step.given == out.size();
            const bool hasMoved = wasHolding || from.pos > 0 || step.given > before;
            goesOn = hasMoved && !m_MayHold && step.taken < in.size();
        }
        return step;
    }

 private:
    struct Free {
        void operator()(ZSTD_DCtx* context) const { ZSTD_freeDCtx(context); }
    };

    // What the library asks for covers the header of the next block, too, but for the last block.
    // At the end of that it finds the content to be of another size than declared. It gives a
    // stored block as it comes, so the last bytes go in one by one: all but one of the block are
    // given, in whatever pieces they arrived.
    [[nodiscard]] std::size_t Admitted(std::size_t size) const {
        if (m_MayHold) {
            return 0;
        }
        return std::min(size, m_Asked > kBlockHeaderSize ? m_Asked - kBlockHeaderSize : 1);
    }

    static StreamFault FaultFor(std::size_t result) {
        switch (ZSTD_getErrorCode(result)) {
            case ZSTD_error_checksum_wrong:
                return WrongChecksum(Compression::kZstd);
            case ZSTD_error_frameParameter_windowTooLarge:
                return Refused(Refusal::kLargeZstdWindow, "its zstd window is larger than 128 MiB");
            case ZSTD_error_memory_allocation:
                return NoMemory(Compression::kZstd);
            default:
                return BadData(Compression::kZstd, ZSTD_getErrorName(result));
        }
    }

    std::unique_ptr<ZSTD_DCtx, Free> m_Context;
    std::size_t m_Asked = 0;  // bytes, by the last call
    bool m_MayHold = false;   // the last call filled its room
};

}  // namespace

std::unique_ptr<Decoder> MakeZstdDecoder() {
    return std::make_unique<ZstdDecoder>();
}

}  // namespace velora::codec
