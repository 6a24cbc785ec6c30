// bzip2 by libbz2. It decodes whole blocks only, checks a block's sum when all of the block is
// given, and calls a wrong sum what it calls other damage. Of a block that ends in half a run it
// gives what fitted into the calls before the one that finds out.

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <utility>

#include <bzlib.h>
#include <linux/mman.h>
#include <sys/mman.h>

#include "velora/codec/steady_decoder.h"
#include "velora/utils/scope_guards.h"

namespace velora::codec {
namespace {

unsigned Limited(std::size_t size) {
    return static_cast<unsigned>(std::min<std::size_t>(size, std::numeric_limits<int>::max()));
}

// The memory of one decoder: 4 MiB, of which it uses what a stream's blocks need, up to 3.7 MB. It
// serves one stream after the other.
class DecoderMemory {
 public:
    // For bz_stream, whose `opaque` is one of these.
    static void* Allocate(void* opaque, int count, int size) {
        return static_cast<DecoderMemory*>(opaque)->Take(static_cast<std::size_t>(count) *
                                                         static_cast<std::size_t>(size));
    }
    static void GiveBack(void* opaque, void* place) {
        static_cast<DecoderMemory*>(opaque)->Return(place);
    }

    // A block is gone through in no order, and with pages of 4 KiB a tenth of the time is spent
    // finding them. To be asked for when there is much to decode: it takes a millisecond, and
    // memory that small blocks do not need. Where the system cannot, all is as before.
    void UseHugePages() { static_cast<void>(madvise(m_Memory.get(), kSize, MADV_COLLAPSE)); }

 private:
    static constexpr std::size_t kHugePage = std::size_t{2} << 20U;
    static constexpr std::size_t kSize = 2 * kHugePage;
    static constexpr std::size_t kAlignment = 64;

    void* Take(std::size_t size) {
        if (!m_Memory) {
            m_Memory.reset(static_cast<std::uint8_t*>(std::aligned_alloc(kHugePage, kSize)));
        }
        const std::size_t whole = (size + kAlignment - 1) / kAlignment * kAlignment;
        if (!m_Memory || whole > kSize - m_Used) {
            return nullptr;
        }
        m_Parts += 1;
        return m_Memory.get() + std::exchange(m_Used, m_Used + whole);
    }

    void Return(const void* place) {
        m_Parts -= place != nullptr ? 1 : 0;
        m_Used = m_Parts == 0 ? 0 : m_Used;
    }

    MiscUtils::UniqueMemory<std::uint8_t> m_Memory;
    std::size_t m_Used = 0;   // from its front
    std::size_t m_Parts = 0;  // taken and not returned
};

class Bzip2Decoder final : public Decoder {
 public:
    Bzip2Decoder() { Reset(); }
    ~Bzip2Decoder() override { BZ2_bzDecompressEnd(&m_Stream); }
    Bzip2Decoder(const Bzip2Decoder&) = delete;
    Bzip2Decoder& operator=(const Bzip2Decoder&) = delete;

    void Reset() override {
        BZ2_bzDecompressEnd(&m_Stream);
        m_Stream = {};
        m_Stream.bzalloc = DecoderMemory::Allocate;
        m_Stream.bzfree = DecoderMemory::GiveBack;
        m_Stream.opaque = &m_Memory;
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
            NoteGiven(step.given);
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
    static constexpr std::uint64_t kMuch = std::uint64_t{2} << 20U;

    void NoteGiven(std::size_t count) {
        const bool wasLittle = m_Given < kMuch;
        m_Given += count;
        if (wasLittle && m_Given >= kMuch) {
            m_Memory.UseHugePages();
        }
    }

    DecoderMemory m_Memory;  // before what uses it
    std::uint64_t m_Given = 0;
    bz_stream m_Stream{};
    int m_Result = BZ_OK;
};

}  // namespace

std::unique_ptr<Decoder> MakeBzip2Decoder() {
    return std::make_unique<SteadyDecoder>(std::make_unique<Bzip2Decoder>());
}

}  // namespace velora::codec
