#include "velora/codec/byte_stream.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>
#include <zlib.h>

#include "tests/codec/string_sink.h"
#include "tests/support/capture_builder.h"

namespace {

using namespace std::string_literals;
using velora::codec::ByteStream;
using velora::codec::Compression;
using velora::codec::NameOf;
using Kind = ByteStream::Fault::Kind;

constexpr std::size_t kWhole = 1U << 18U;

struct Outcome {
    std::string bytes;
    std::optional<Kind> fault;  // none: all was in order
    std::string reason;
    Compression compression = Compression::kNone;
    std::uint64_t verified = 0;
};

// The owner of a stream: reads `file` in pieces, into an `out` of that size. Its last read fails if `error` is not 0.
Outcome Drain(const std::string& file, std::size_t piece = kWhole, std::size_t outSize = kWhole, int error = 0) {
    ByteStream stream(4096);
    Outcome outcome;
    std::size_t taken = 0;
    std::vector<std::uint8_t> room(outSize);
    std::span<std::uint8_t> out(room);
    while (true) {
        const ByteStream::Step step = stream.Read(out);
        outcome.bytes.append(reinterpret_cast<const char*>(out.data()), step.given);
        out = out.subspan(step.given);
        EXPECT_EQ(stream.GivenBytes(), outcome.bytes.size());
        EXPECT_LE(stream.VerifiedBytes(), outcome.bytes.size());
        EXPECT_EQ(out.empty(), step.state == ByteStream::State::kFull);
        if (step.state == ByteStream::State::kFull) {
            out = room;
        } else if (step.state == ByteStream::State::kNeedsBytes) {
            const auto place = stream.Wanted(out);
            EXPECT_FALSE(place.empty());
            const std::size_t count =
                file.copy(reinterpret_cast<char*>(place.data()), std::min(piece, place.size()), taken);
            taken += count;
            count > 0 ? stream.Arrived(count) : error == 0 ? stream.Ended() : stream.Failed(error);
        } else {
            outcome.compression = stream.GetCompression();
            outcome.verified = stream.VerifiedBytes();
            if (step.state == ByteStream::State::kBroken) {
                outcome.fault = stream.GetFault().kind;
                outcome.reason = stream.GetFault().reason;
            }
            return outcome;
        }
    }
}

struct Codec {
    Compression compression;
    std::string (*compress)(std::string_view);
    std::size_t magicSize;
    std::size_t checksumFromEnd;  // where a byte of the last checksum of the content stands
    Kind wrongChecksum;
};

const Codec kCodecs[] = {
    {Compression::kGzip, Gzip, 2, 8, Kind::kWrongChecksum},
    {Compression::kBzip2, [](std::string_view bytes) { return Bzip2(bytes); }, 4, 3, Kind::kDamaged},
    {Compression::kXz, Xz, 6, 28 + 2, Kind::kDamaged},  // in front of an index and a footer
    {Compression::kZstd, Zstd, 4, 1, Kind::kWrongChecksum},
    {Compression::kLz4, [](std::string_view bytes) { return Lz4(bytes); }, 4, 1, Kind::kWrongChecksum},
};

// Lines of numbers: compressible, without repeating.
std::string Text(std::size_t size) {
    std::string text;
    for (unsigned number = 1; text.size() < size; number = number * 1103515245U + 12345U) {
        text += std::to_string(number % 100003) + '\n';
    }
    return text;
}

std::string Flipped(std::string bytes, std::size_t fromEnd) {
    bytes[bytes.size() - fromEnd] ^= 1;
    return bytes;
}

std::string Skippable(std::string_view content, char low = '\x50') {
    return low + "\x2A\x4D\x18"s + static_cast<char>(content.size()) + std::string(3, '\0') + std::string(content);
}

struct Row {
    std::string name;
    std::string file;
    std::string bytes;  // given
    std::optional<Kind> fault = {};
    std::string reason = {};  // part of it
    std::size_t verified = 0;
    Compression compression = Compression::kNone;
};

// Whatever the sizes of the pieces and of the room, the outcome is the same.
void ExpectRow(const Row& row) {
    for (const auto& [piece, outSize] : {std::tuple(kWhole, kWhole), {kWhole, 1}, {1, kWhole}, {1, 1}, {7, 50}}) {
        if (outSize == 1 && row.bytes.size() > 10000) {
            continue;  // for the time it takes
        }
        SCOPED_TRACE(row.name + ", pieces of " + std::to_string(piece) + ", room for " + std::to_string(outSize));
        const Outcome outcome = Drain(row.file, piece, outSize);
        EXPECT_TRUE(outcome.bytes == row.bytes) << outcome.bytes.size() << " bytes, not " << row.bytes.size();
        EXPECT_EQ(outcome.fault, row.fault) << outcome.reason;
        EXPECT_NE(outcome.reason.find(row.reason), std::string::npos) << outcome.reason;
        EXPECT_EQ(outcome.verified, row.verified);
        EXPECT_STREQ(NameOf(outcome.compression), NameOf(row.compression));
    }
}

TEST(ByteStreamTest, ReadsMembersOfEachCompressionToTheLast) {
    const std::string text = Text(3000);
    const std::string large = Text(200000);
    for (const auto& [compression, compress, magicSize, checksumFromEnd, wrongChecksum] : kCodecs) {
        const std::string file = compress(text);
        const std::string name = NameOf(compression);
        const std::string zeros(5, '\0');
        const std::string noFurther = "no further " + name;
        const std::string other = compression == Compression::kGzip ? Bzip2(text) : Gzip(text);
        const Row rows[] = {
            {"one", file, text},
            {"a large one", compress(large), large},
            {"an empty one", compress(""), ""},
            {"two", file + compress("more"), text + "more"},
            {"empty ones around", compress("") + compress("") + file + compress(""), text},
            {"padding between and behind", file + zeros + file + zeros, text + text},
            {"padding larger than the raw buffer", file + std::string(10000, '\0') + file, text + text},
            {"no padding in front", zeros + file, zeros + file, {}, "", 5 + file.size()},
            {"text behind", file + "garbage", text, Kind::kDamaged, noFurther, text.size()},
            {"a byte behind padding", file + zeros + "x", text, Kind::kDamaged, noFurther, text.size()},
            {"another compression behind", file + other, text, Kind::kDamaged, noFurther, text.size()},
            {"a start of a further one", file + file.substr(0, 1), text, Kind::kCut, name, text.size()},
            {"wrong checksum", Flipped(file, checksumFromEnd), text, wrongChecksum, name},
            {"wrong checksum of the second", file + Flipped(file, checksumFromEnd) + file, text + text, wrongChecksum,
             name + (wrongChecksum == Kind::kWrongChecksum ? " checksum" : " data"), text.size()},
        };
        for (Row row : rows) {
            row.compression = row.bytes == row.file ? Compression::kNone : compression;
            row.verified = row.fault ? row.verified : row.bytes.size();
            row.name = name + ": " + row.name;
            ExpectRow(row);
        }
    }
}

TEST(ByteStreamTest, GivesAllInFrontOfACutOrAFailedRead) {
    const std::string text = Text(800);
    for (const Codec& codec : kCodecs) {
        const std::string file = codec.compress(text);
        std::size_t most = 0;
        for (std::size_t size = 0; size < file.size(); ++size) {
            SCOPED_TRACE(NameOf(codec.compression) + ", cut to "s + std::to_string(size));
            const Outcome outcome = Drain(file.substr(0, size), kWhole, 4096);
            const Outcome failed = Drain(file.substr(0, size), 100, 4096, EIO);
            EXPECT_EQ(failed.fault, Kind::kReadFailed);
            EXPECT_EQ(failed.bytes, size < codec.magicSize ? "" : outcome.bytes);
            if (size < codec.magicSize) {
                EXPECT_FALSE(outcome.fault) << "not known to be compressed";
                EXPECT_EQ(outcome.bytes, file.substr(0, size));
                continue;
            }
            EXPECT_EQ(outcome.fault, Kind::kCut);
            EXPECT_EQ(outcome.reason, "the "s + NameOf(codec.compression) + " stream ends in its middle");
            EXPECT_EQ(outcome.verified, 0U);
            EXPECT_TRUE(text.starts_with(outcome.bytes));
            EXPECT_GE(outcome.bytes.size(), most) << "fewer than at an earlier cut";
            most = outcome.bytes.size();
        }
        EXPECT_EQ(most, text.size()) << "the checksums stand behind all of the content";
    }
}

// The lz4 frame header of Lz4(), and a block that is not compressed.
std::string Lz4Header() {
    return Lz4("").substr(0, 7);
}
std::string Lz4Block(std::string_view bytes) {
    return static_cast<char>(bytes.size()) + "\0\0\x80"s + std::string(bytes);
}
// A frame header that asks for that window (exponent in the upper five bits), and a raw block.
std::string ZstdHeader(char window) {
    return "\x28\xB5\x2F\xFD\0"s + window;
}
std::string ZstdBlock(std::string_view bytes, bool isLast) {
    return static_cast<char>(bytes.size() << 3U | (isLast ? 1U : 0U)) + "\0\0"s + std::string(bytes);
}
// With a dictionary of another size: a byte of the header of the first block, which has a checksum.
std::string XzWithDictionary(std::string_view bytes, char size) {
    std::string file = Xz(bytes);
    file[16] = size;
    const auto sum = static_cast<std::uint32_t>(crc32(0, reinterpret_cast<const Bytef*>(&file[12]), 8));
    return file.replace(20, 4, reinterpret_cast<const char*>(&sum), 4);
}

TEST(ByteStreamTest, KnowsSkippableFramesRefusedKindsAndDamage) {
    const std::string text = Text(300);
    const std::string skippable = Skippable("skip me") + Skippable("", '\x5F');
    const auto none = Compression::kNone;
    const auto zstd = Compression::kZstd;
    const auto lz4 = Compression::kLz4;
    const auto xz = Compression::kXz;
    const std::size_t size = text.size();
    const Row rows[] = {
        {"nothing", "", "", {}, "", 0, none},
        {"plain", text, text, {}, "", size, none},
        {"plain, begins like bzip2", "BZh0" + text, "BZh0" + text, {}, "", size + 4, none},
        {"lz4, skippable everywhere",
         skippable + Lz4(text) + skippable + Lz4(text) + skippable,
         text + text,
         {},
         "",
         2 * size,
         lz4},
        {"zstd, skippable everywhere",
         skippable + Zstd(text) + skippable + Zstd(text) + skippable,
         text + text,
         {},
         "",
         2 * size,
         zstd},
        {"nothing but skippable", skippable + "\0"s, "", {}, "", 0, zstd},
        {"skippable before gzip", skippable + Gzip(text), "", Kind::kDamaged, "no further", 0, zstd},
        {"skippable behind gzip", Gzip(text) + skippable, text, Kind::kDamaged, "no further", size, Compression::kGzip},
        {"skippable cut in its header", Skippable("x").substr(0, 7), "", Kind::kCut, "", 0, zstd},
        {"skippable cut in its content", Zstd(text) + Skippable("x").substr(0, 8), text, Kind::kCut, "", size, zstd},
        {"legacy lz4", "\x02\x21\x4C\x18" + text, "", Kind::kRefused, "the legacy format of lz4", 0, lz4},
        {"legacy lz4 behind lz4", Lz4(text) + "\x02\x21\x4C\x18", text, Kind::kRefused, "the legacy format of lz4",
         size, lz4},
        {"zstd window of 128 MiB", ZstdHeader('\x88') + ZstdBlock("abc", true), "abc", {}, "", 3, zstd},
        {"zstd window of 144 MiB", ZstdHeader('\x89') + ZstdBlock("abc", true), "", Kind::kRefused,
         "its zstd window is larger", 0, zstd},
        {"xz dictionary of 128 MiB", XzWithDictionary(text, 30), text, {}, "", size, xz},
        {"xz dictionary of 192 MiB", XzWithDictionary(text, 31), "", Kind::kRefused, "its xz dictionary is larger", 0,
         xz},
        {"zstd block of an unknown type", ZstdHeader(0) + ZstdBlock("abc", false) + "\x06\0\0"s, "abc", Kind::kDamaged,
         "bad zstd data: ", 0, zstd},
        {"zstd content of another size than declared", "\x28\xB5\x2F\xFD\x20\x09" + ZstdBlock("abcdef", true), "abcde",
         Kind::kDamaged, "bad zstd data: ", 0, zstd},
        {"lz4 block too large", Lz4Header() + Lz4Block("abc") + "\xFF\xFF\xFF\0"s, "abc", Kind::kDamaged,
         "bad lz4 data: maxBlockSize_invalid", 0, lz4},
        {"lz4 block of no bytes", Lz4Header() + Lz4Block("") + Lz4("").substr(7), "", {}, "", 0, lz4},
        // A fixed block: "a", then a match of 3 bytes from 5 back. Room and bytes behind it change nothing.
        {"gzip distance too far", Gzip("").substr(0, 10) + "\x4B\x04\x12" + std::string(100, '\1'), "a", Kind::kDamaged,
         "bad gzip data: invalid distance", 0, Compression::kGzip},
        {"gzip with a wrong length", Flipped(Gzip(text), 1), text, Kind::kWrongChecksum, "gzip", 0, Compression::kGzip},
    };
    for (const Row& row : rows) {
        ExpectRow(row);
    }
}

TEST(ByteStreamTest, ChecksTheSumsOfLz4Blocks) {
    const std::string large = Text(150000);  // three blocks
    const std::string file = Lz4(large, true);
    ExpectRow({"right", file, large, {}, "", large.size(), Compression::kLz4});
    ExpectRow({"the last is wrong", Flipped(file, 9), large.substr(0, 131072), Kind::kDamaged, "blockChecksum", 0,
               Compression::kLz4});
    const std::string noise = velora::codec::Noise(70000);  // stored as it is: given before its sum is looked at
    ExpectRow({"a stored one is wrong", Flipped(Lz4(noise, true), 9), noise, Kind::kWrongChecksum, "lz4 checksum", 0,
               Compression::kLz4});
}

TEST(ByteStreamTest, ParsesEveryHeaderOfGzip) {
    const std::string deflated = Gzip("data").substr(10);
    const std::string extra = "\x05\0extra"s;
    const std::string name = "name\0"s;
    const std::string comment = "comment\0"s;
    // Columns: flags, what follows the fixed part, and whether the header's checksum is added.
    const std::tuple<const char*, char, std::string, bool> rows[] = {
        {"nothing", 0, "", false},
        {"text flag", 1, "", false},
        {"checksum", 2, "", true},
        {"extra", 4, extra, false},
        {"empty extra", 4, "\0\0"s, false},
        {"name", 8, name, false},
        {"comment", 16, comment, false},
        {"extra and comment", 20, extra + comment, false},
        {"all", 31, extra + name + comment, true},
        {"all, of the least length", 30, "\0\0\0\0"s, true},
    };
    for (const auto& [title, flags, fields, hasSum] : rows) {
        std::string header = "\x1F\x8B\x08"s + flags + "time\x02\x03" + fields;
        const auto sum = crc32(0, reinterpret_cast<const Bytef*>(header.data()), static_cast<uInt>(header.size()));
        if (hasSum) {
            header += {static_cast<char>(sum), static_cast<char>(sum >> 8U)};
            for (const std::size_t fromEnd : {1U, 2U}) {
                ExpectRow({title + ", wrong"s, Flipped(header, fromEnd) + deflated, "", Kind::kDamaged,
                           "wrong checksum", 0, Compression::kGzip});
            }
        }
        ExpectRow({title, header + deflated, "data", {}, "", 4, Compression::kGzip});
        for (std::size_t size = 2; size < header.size(); ++size) {
            EXPECT_EQ(Drain(header.substr(0, size)).fault, Kind::kCut) << title << ", cut to " << size;
        }
    }
    for (const char flags : {'\x20', '\x40', '\x80'}) {
        ExpectRow({"reserved flag", "\x1F\x8B\x08"s + flags + "time\x02\x03" + deflated, "", Kind::kDamaged,
                   "reserved flags", 0, Compression::kGzip});
    }
    ExpectRow({"method", "\x1F\x8B\x07"s, "", Kind::kDamaged, "unknown method", 0, Compression::kGzip});
}

TEST(ByteStreamTest, ReadsPlainBytesStraightToTheirPlace) {
    ByteStream stream(100000);
    std::vector<std::uint8_t> room(50000);
    EXPECT_EQ(stream.Read({}).state, ByteStream::State::kFull);
    ASSERT_EQ(stream.Read(room).state, ByteStream::State::kNeedsBytes);
    auto place = stream.Wanted(room);
    EXPECT_LE(place.size(), 4096U) << "these are copied";
    std::fill(place.begin(), place.end(), 'a');
    stream.Arrived(place.size());
    ByteStream::Step step = stream.Read(room);
    EXPECT_EQ(step.given, place.size());
    ASSERT_EQ(step.state, ByteStream::State::kNeedsBytes);
    const auto rest = std::span(room).subspan(step.given);
    place = stream.Wanted(rest);
    EXPECT_EQ(place.data(), rest.data());
    EXPECT_EQ(place.size(), rest.size());
    stream.Arrived(10);
    step = stream.Read(rest);
    EXPECT_EQ(step.given, 10U);
    ASSERT_EQ(step.state, ByteStream::State::kNeedsBytes);
    static_cast<void>(stream.Wanted(rest.subspan(10)));
    stream.Failed(EIO);
    EXPECT_EQ(stream.Read(rest.subspan(10)).state, ByteStream::State::kBroken);
    EXPECT_EQ(stream.GetFault().kind, Kind::kReadFailed);
    EXPECT_EQ(stream.GetFault().reason, "Input/output error");
    EXPECT_EQ(stream.GivenBytes(), 4096U + 10);
}

}  // namespace
