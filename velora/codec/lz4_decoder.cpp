// lz4 frames by liblz4. A call that ends in an error gives nothing, be it that it decoded whole
// blocks in front of the bad one. So each call gets bytes of one part of the frame only (the lz4
// frame format has them: header, then for each block its size, data and checksum, then the checksum
// of it all), and none gets anything while bytes decoded before still wait for room.

#include <algorithm>
#include <string_view>

#include <lz4frame.h>

#include "velora/codec/decoder.h"

namespace velora::codec {
namespace {

constexpr std::uint32_t kHasDictionary = 0x01;  // flags of the frame
constexpr std::uint32_t kHasContentSize = 0x08;
constexpr std::uint32_t kHasBlockChecksums = 0x10;
constexpr std::uint32_t kIsUncompressed = 0x80000000;  // in the size of a block

class Lz4Decoder final : public Decoder {
 public:
    Lz4Decoder() {
        LZ4F_dctx* context = nullptr;
        if (LZ4F_isError(LZ4F_createDecompressionContext(&context, LZ4F_VERSION)) == 0) {
            m_Context.reset(context);
        }
    }

    void Reset() override {
        if (m_Context) {
            LZ4F_resetDecompressionContext(m_Context.get());
        }
        m_Part = Part::kMagicAndFlags;
        m_Left = 5;
        m_MayHold = false;
    }

    Step Decode(std::span<const std::uint8_t> in, std::span<std::uint8_t> out) override {
        Step step;
        if (!m_Context) {
            step.fault = NoMemory(Compression::kLz4);
            return step;
        }
        bool goesOn = true;
        while (goesOn) {
            const auto rest = in.subspan(step.taken);
            std::size_t taken = m_MayHold ? 0 : std::min(m_Left, rest.size());
            std::size_t given = out.size() - step.given;
            const std::size_t result = LZ4F_decompress(m_Context.get(), out.data() + step.given,
                                                       &given, rest.data(), &taken, nullptr);
            if (LZ4F_isError(result) != 0) {
                step.fault = FaultFor(result);
                return step;
            }
            Follow(rest.first(taken));
            step.taken += taken;
            step.given += given;
            if (result == 0) {
                step.isMemberEnd = true;
                return step;
            }
            const bool wasHolding = m_MayHold;
            m_MayHold = step.given == out.size();
            const bool hasMoved = wasHolding || taken > 0 || given > 0;
            goesOn = hasMoved && !m_MayHold && step.taken < in.size();
        }
        return step;
    }

 private:
    struct Free {
        void operator()(LZ4F_dctx* context) const { LZ4F_freeDecompressionContext(context); }
    };
    enum class Part : std::uint8_t {
        kMagicAndFlags,
        kRestOfHeader,
        kBlockSize,
        kBlock,
        kBlockChecksum,  // of a block that is not compressed; others are checked before decoding
        kContentChecksum,
    };

    // Keeps the place in the frame: the library has taken these bytes of the part.
    void Follow(std::span<const std::uint8_t> bytes) {
        m_Left -= bytes.size();
        for (const std::uint8_t byte : bytes.last(std::min<std::size_t>(bytes.size(), 4))) {
            m_LastFour = m_LastFour >> 8U | std::uint32_t{byte} << 24U;
        }
        while (m_Left == 0 && m_Part != Part::kContentChecksum) {
            GoOn();
        }
    }

    void GoOn() {
        switch (m_Part) {
            case Part::kMagicAndFlags:
                m_Flags = m_LastFour >> 24U;
                m_Part = Part::kRestOfHeader;
                m_Left =
                    std::size_t{2} + (Has(kHasContentSize) ? 8 : 0) + (Has(kHasDictionary) ? 4 : 0);
                break;
            case Part::kBlockSize:
                FollowBlockSize();
                break;
            case Part::kBlock:
                if (m_IsUncompressed && Has(kHasBlockChecksums)) {
                    m_Part = Part::kBlockChecksum;
                    m_Left = 4;
                    break;
                }
                [[fallthrough]];
            case Part::kRestOfHeader:
            case Part::kBlockChecksum:
            case Part::kContentChecksum:
                m_Part = Part::kBlockSize;
                m_Left = 4;
                break;
        }
    }

    void FollowBlockSize() {
        if (m_LastFour == 0) {  // behind the last block
            m_Part = Part::kContentChecksum;
            m_Left = 4;
            return;
        }
        m_IsUncompressed = (m_LastFour & kIsUncompressed) != 0;
        m_Part = Part::kBlock;
        m_Left = m_LastFour & ~kIsUncompressed;
        if (!m_IsUncompressed && Has(kHasBlockChecksums)) {
            m_Left += 4;
        }
    }

    [[nodiscard]] bool Has(std::uint32_t flag) const { return (m_Flags & flag) != 0; }

    // The library has codes for its errors, but only their names are for everybody.
    [[nodiscard]] StreamFault FaultFor(std::size_t result) const {
        std::string_view word = LZ4F_getErrorName(result);
        if (word == "ERROR_contentChecksum_invalid" || m_Part == Part::kBlockChecksum) {
            return WrongChecksum(Compression::kLz4);
        }
        if (word == "ERROR_allocation_failed") {
            return NoMemory(Compression::kLz4);
        }
        if (word.starts_with("ERROR_")) {
            word.remove_prefix(6);
        }
        return BadData(Compression::kLz4, std::string(word));
    }

    std::unique_ptr<LZ4F_dctx, Free> m_Context;
    Part m_Part = Part::kMagicAndFlags;
    std::size_t m_Left = 5;        // bytes of the part that the library has not taken
    std::uint32_t m_LastFour = 0;  // bytes taken, as a little-endian number
    std::uint32_t m_Flags = 0;
    bool m_IsUncompressed = false;
    bool m_MayHold = false;  // the last call filled its room
};

}  // namespace

std::unique_ptr<Decoder> MakeLz4Decoder() {
    return std::make_unique<Lz4Decoder>();
}

}  // namespace velora::codec
