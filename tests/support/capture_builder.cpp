#include "tests/support/capture_builder.h"

#include <algorithm>
#include <memory>
#include <stdexcept>

#include <bzlib.h>
#include <lz4frame.h>
#include <lzma.h>
#include <zlib.h>
#include <zstd.h>

namespace {

template <typename Value>
std::string Raw(const Value& value, bool isReversed = false) {
    std::string bytes(reinterpret_cast<const char*>(&value), sizeof value);
    return isReversed ? std::string(bytes.rbegin(), bytes.rend()) : bytes;
}

}  // namespace

CaptureBuilder& CaptureBuilder::BigEndian(bool isBig) {
    m_IsBig = isBig;
    return *this;
}

CaptureBuilder& CaptureBuilder::LinkType(std::uint32_t linkType) {
    m_LinkType = linkType;
    return *this;
}

CaptureBuilder& CaptureBuilder::Record(std::int32_t sec, std::int32_t usec, std::string_view data) {
    const auto length = static_cast<std::uint32_t>(data.size());
    return Record(sec, usec, length, length, data);
}

CaptureBuilder& CaptureBuilder::Record(std::int32_t sec, std::int32_t usec, std::uint32_t inclLen,
                                       std::uint32_t origLen, std::string_view data) {
    m_Records += Raw(sec, m_IsBig) + Raw(usec, m_IsBig) + Raw(inclLen, m_IsBig) + Raw(origLen, m_IsBig);
    m_Records += data;
    return *this;
}

std::string CaptureBuilder::Bytes() const {
    const std::string version = Raw(std::uint16_t{2}, m_IsBig) + Raw(std::uint16_t{4}, m_IsBig);
    return Raw(0xA1B2C3D4U, m_IsBig) + version + std::string(8, '\0') + Raw(65535U, m_IsBig) +
           Raw(m_LinkType, m_IsBig) + m_Records;
}

PcapNgBuilder::PcapNgBuilder(std::uint16_t linkType, std::uint8_t ticksPerSecondPower) {
    // Section Header Block: byte-order magic, version 1.0, unknown section length.
    Block(0x0A0D0D0A, Raw(0x1A2B3C4DU) + Raw(std::uint16_t{1}) + Raw(std::uint16_t{0}) + Raw(~std::uint64_t{0}));
    // Interface Description Block with the option if_tsresol (9) and the end of options.
    std::string resolution = Raw(std::uint16_t{9}) + Raw(std::uint16_t{1});
    resolution += static_cast<char>(ticksPerSecondPower);
    resolution += std::string(3, '\0') + Raw(std::uint32_t{0});
    Block(1, Raw(linkType) + Raw(std::uint16_t{0}) + Raw(std::uint32_t{65535}) + resolution);
}

PcapNgBuilder& PcapNgBuilder::Packet(std::uint64_t ticks, std::string_view data, std::uint32_t length) {
    const auto captured = static_cast<std::uint32_t>(data.size());
    Block(6, Raw(std::uint32_t{0}) + Raw(static_cast<std::uint32_t>(ticks >> 32)) +
                 Raw(static_cast<std::uint32_t>(ticks)) + Raw(captured) + Raw(std::max(captured, length)) +
                 std::string(data));
    return *this;
}

void PcapNgBuilder::Block(std::uint32_t type, std::string body) {
    body.resize((body.size() + 3) / 4 * 4);
    const auto total = static_cast<std::uint32_t>(body.size() + 12);
    m_Bytes += Raw(type) + Raw(total) + body + Raw(total);
}

std::string Gzip(std::string_view bytes) {
    z_stream stream{};
    std::string out(compressBound(bytes.size()) + 64, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY) != Z_OK ||
        deflate(&stream, Z_FINISH) != Z_STREAM_END) {
        throw std::runtime_error("deflate");
    }
    out.resize(stream.total_out);
    deflateEnd(&stream);
    return out;
}

std::string Bzip2(std::string_view bytes, int blockSize) {
    auto length = static_cast<unsigned>(bytes.size() + bytes.size() / 50 + 1024);
    std::string out(length, '\0');
    if (BZ2_bzBuffToBuffCompress(out.data(), &length, const_cast<char*>(bytes.data()),
                                 static_cast<unsigned>(bytes.size()), blockSize, 0, 0) != BZ_OK) {
        throw std::runtime_error("BZ2_bzBuffToBuffCompress");
    }
    out.resize(length);
    return out;
}

std::string Xz(std::string_view bytes) {
    lzma_stream stream = LZMA_STREAM_INIT;
    std::string out(lzma_stream_buffer_bound(bytes.size()), '\0');
    stream.next_in = reinterpret_cast<const std::uint8_t*>(bytes.data());
    stream.avail_in = bytes.size();
    stream.next_out = reinterpret_cast<std::uint8_t*>(out.data());
    stream.avail_out = out.size();
    const bool isWhole = lzma_easy_encoder(&stream, 0, LZMA_CHECK_CRC64) == LZMA_OK &&
                         lzma_code(&stream, LZMA_FINISH) == LZMA_STREAM_END;
    out.resize(stream.total_out);
    lzma_end(&stream);
    if (!isWhole) {
        throw std::runtime_error("lzma_code");
    }
    return out;
}

std::string Zstd(std::string_view bytes) {
    const std::unique_ptr<ZSTD_CCtx, decltype(&ZSTD_freeCCtx)> context(ZSTD_createCCtx(), ZSTD_freeCCtx);
    ZSTD_CCtx_setParameter(context.get(), ZSTD_c_checksumFlag, 1);
    std::string out(ZSTD_compressBound(bytes.size()), '\0');
    const std::size_t length = ZSTD_compress2(context.get(), out.data(), out.size(), bytes.data(), bytes.size());
    if (ZSTD_isError(length) != 0) {
        throw std::runtime_error("ZSTD_compress2");
    }
    out.resize(length);
    return out;
}

std::string Lz4(std::string_view bytes, bool hasBlockChecksums) {
    LZ4F_preferences_t preferences = LZ4F_INIT_PREFERENCES;
    preferences.frameInfo.blockSizeID = LZ4F_max64KB;
    preferences.frameInfo.contentChecksumFlag = LZ4F_contentChecksumEnabled;
    preferences.frameInfo.blockChecksumFlag = hasBlockChecksums ? LZ4F_blockChecksumEnabled : LZ4F_noBlockChecksum;
    std::string out(LZ4F_compressFrameBound(bytes.size(), &preferences), '\0');
    const std::size_t length = LZ4F_compressFrame(out.data(), out.size(), bytes.data(), bytes.size(), &preferences);
    if (LZ4F_isError(length) != 0) {
        throw std::runtime_error("LZ4F_compressFrame");
    }
    out.resize(length);
    return out;
}

std::string Frame(std::uint16_t type, std::uint32_t source, std::uint32_t destination, std::size_t size, char fill) {
    std::string frame =
        std::string(12, '\x02') + Raw(type, true) + std::string(12, fill) + Raw(source, true) + Raw(destination, true);
    frame.resize(size, fill);
    return frame;
}
