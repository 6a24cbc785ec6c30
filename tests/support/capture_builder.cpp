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

// What a compression has left in `out`.
std::string Whole(const std::string& out, std::size_t length, bool isWhole) {
    return isWhole ? out.substr(0, length) : throw std::runtime_error("no room, or no memory");
}

}  // namespace

CaptureBuilder& CaptureBuilder::Record(std::int32_t sec, std::int32_t usec, std::string_view data) {
    const auto length = static_cast<std::uint32_t>(data.size());
    return Record(sec, usec, length, length, data);
}

CaptureBuilder& CaptureBuilder::Record(std::int32_t sec, std::int32_t usec, std::uint32_t inclLen,
                                       std::uint32_t origLen, std::string_view data) {
    m_Records += Raw(sec, m_IsBig) + Raw(usec, m_IsBig) + Raw(inclLen, m_IsBig) + Raw(origLen, m_IsBig);
    m_Records += std::string(m_Magic == 0xA1B2CD34 ? 8 : 0, '?');
    m_Records += data;
    return *this;
}

std::string CaptureBuilder::Bytes() const {
    return Raw(m_Magic, m_IsBig) + Raw(m_Major, m_IsBig) + Raw(m_Minor, m_IsBig) + std::string(8, '\0') +
           Raw(m_SnapLen, m_IsBig) + Raw(m_LinkType, m_IsBig) + m_Records;
}

PcapNgBuilder::PcapNgBuilder(std::uint16_t linkType, std::uint8_t ticksPerSecondPower) {
    Section().Interface(linkType, 65535, Option(9, {static_cast<char>(ticksPerSecondPower)}) + Number(0));
}

// Byte-order magic, version, unknown section length.
PcapNgBuilder& PcapNgBuilder::Section(bool isBig, const std::string& options, std::uint16_t major) {
    m_IsBig = isBig;
    return Block(0x0A0D0D0A, Number(0x1A2B3C4D) + ::Raw(major, isBig) + ::Raw(std::uint16_t{0}, isBig) +
                                 std::string(8, '\xFF') + options);
}

PcapNgBuilder& PcapNgBuilder::Interface(std::uint16_t linkType, std::uint32_t snapLen, const std::string& options) {
    return Block(1, ::Raw(linkType, m_IsBig) + std::string(2, '\0') + Number(snapLen) + options);
}

PcapNgBuilder& PcapNgBuilder::PacketOf(std::uint32_t interface, std::uint64_t ticks, std::string_view data,
                                       const std::string& options, std::uint32_t length) {
    const auto captured = static_cast<std::uint32_t>(data.size());
    const std::string padding((4 - captured % 4) % 4, '\0');
    return Block(6, Number(interface) + Time(ticks) + Number(captured) + Number(std::max(captured, length)) +
                        std::string(data) + padding + options);
}

PcapNgBuilder& PcapNgBuilder::ObsoletePacket(std::uint16_t interface, std::uint64_t ticks, std::string_view data) {
    const auto captured = static_cast<std::uint32_t>(data.size());
    return Block(2, ::Raw(interface, m_IsBig) + "\x12\x34" + Time(ticks) + Number(captured) + Number(captured) +
                        std::string(data));
}

PcapNgBuilder& PcapNgBuilder::SimplePacket(std::uint32_t length, std::string_view data) {
    return Block(3, Number(length) + std::string(data));
}

PcapNgBuilder& PcapNgBuilder::Block(std::uint32_t type, std::string body) {
    body.resize((body.size() + 3) / 4 * 4);
    const std::string total = Number(body.size() + 12);
    return Raw(Number(type) + total + body + total);
}

PcapNgBuilder& PcapNgBuilder::Raw(std::string_view bytes) {
    m_Bytes += bytes;
    return *this;
}

std::string PcapNgBuilder::Option(std::uint16_t code, const std::string& value) const {
    std::string option = ::Raw(code, m_IsBig) + ::Raw(static_cast<std::uint16_t>(value.size()), m_IsBig) + value;
    option.resize((option.size() + 3) / 4 * 4);
    return option;
}

std::string PcapNgBuilder::Number(std::uint64_t value) const {
    return ::Raw(static_cast<std::uint32_t>(value), m_IsBig);
}

std::string Gzip(std::string_view bytes) {
    z_stream stream{};
    std::string out(compressBound(bytes.size()) + 64, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY);
    const bool isWhole = deflate(&stream, Z_FINISH) == Z_STREAM_END;
    deflateEnd(&stream);
    return Whole(out, stream.total_out, isWhole);
}

std::string Bzip2(std::string_view bytes, int blockSize) {
    auto length = static_cast<unsigned>(bytes.size() + bytes.size() / 50 + 1024);
    std::string out(length, '\0');
    const int status = BZ2_bzBuffToBuffCompress(out.data(), &length, const_cast<char*>(bytes.data()),
                                                static_cast<unsigned>(bytes.size()), blockSize, 0, 0);
    return Whole(out, length, status == BZ_OK);
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
    lzma_end(&stream);
    return Whole(out, stream.total_out, isWhole);
}

std::string Zstd(std::string_view bytes) {
    const std::unique_ptr<ZSTD_CCtx, decltype(&ZSTD_freeCCtx)> context(ZSTD_createCCtx(), ZSTD_freeCCtx);
    ZSTD_CCtx_setParameter(context.get(), ZSTD_c_checksumFlag, 1);
    std::string out(ZSTD_compressBound(bytes.size()), '\0');
    const std::size_t length = ZSTD_compress2(context.get(), out.data(), out.size(), bytes.data(), bytes.size());
    return Whole(out, length, ZSTD_isError(length) == 0);
}

std::string Lz4(std::string_view bytes, bool hasBlockChecksums) {
    LZ4F_preferences_t preferences = LZ4F_INIT_PREFERENCES;
    preferences.frameInfo.blockSizeID = LZ4F_max64KB;
    preferences.frameInfo.contentChecksumFlag = LZ4F_contentChecksumEnabled;
    preferences.frameInfo.blockChecksumFlag = hasBlockChecksums ? LZ4F_blockChecksumEnabled : LZ4F_noBlockChecksum;
    std::string out(LZ4F_compressFrameBound(bytes.size(), &preferences), '\0');
    const std::size_t length = LZ4F_compressFrame(out.data(), out.size(), bytes.data(), bytes.size(), &preferences);
    return Whole(out, length, LZ4F_isError(length) == 0);
}

std::string Frame(std::uint16_t type, std::uint32_t source, std::uint32_t destination, std::size_t size, char fill) {
    std::string frame =
        std::string(12, '\x02') + Raw(type, true) + std::string(12, fill) + Raw(source, true) + Raw(destination, true);
    frame.resize(size, fill);
    return frame;
}
