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
using enum Compression;
using enum Kind;

constexpr std::size_t kWhole = 1U << 18U;

struct Outcome {
    std::string bytes;
    std::optional<Kind> fault;  // none: all was in order
    std::string reason;
    Compression compression = kNone;
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
    std::size_t sumFromEnd;  // where a byte of the last checksum of the content stands
    Kind wrongSum;           // what is told of a wrong one
};

const Codec kCodecs[] = {
    {.compression = kGzip, .compress = Gzip, .sumFromEnd = 8, .wrongSum = kWrongChecksum},
    {.compression = kBzip2, .compress = [](auto bytes) { return Bzip2(bytes); }, .sumFromEnd = 3, .wrongSum = kDamaged},
    {.compression = kXz, .compress = Xz, .sumFromEnd = 28 + 2, .wrongSum = kDamaged},  // in front of index and footer
    {.compression = kZstd, .compress = Zstd, .sumFromEnd = 1, .wrongSum = kWrongChecksum},
    {.compression = kLz4,
     .compress = [](auto bytes) { return Lz4(bytes); },
     .sumFromEnd = 1,
     .wrongSum = kWrongChecksum},
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
    std::string about;
    Compression codec = kNone;
    std::string file;
    std::string bytes = "";  // given
    std::optional<Kind> fault = {};
    std::string reason = "";  // part of it
    std::size_t right = 0;    // bytes that are right in spite of the fault
};

// Whatever the sizes of the pieces and of the room, the outcome is the same.
void Check(const Row& row) {
    for (const auto& [piece, outSize] : {std::pair(kWhole, kWhole), {kWhole, 1}, {1, kWhole}, {1, 1}, {7, 50}}) {
        if (outSize == 1 && row.bytes.size() > 10000) {
            continue;  // for the time it takes
        }
        SCOPED_TRACE(row.about + ", pieces of " + std::to_string(piece) + ", room for " + std::to_string(outSize));
        const Outcome outcome = Drain(row.file, piece, outSize);
        EXPECT_TRUE(outcome.bytes == row.bytes) << outcome.bytes.size() << " bytes, not " << row.bytes.size();
        EXPECT_EQ(outcome.fault, row.fault) << outcome.reason;
        EXPECT_NE(outcome.reason.find(row.reason), std::string::npos) << outcome.reason;
        EXPECT_EQ(outcome.verified, row.fault ? row.right : row.bytes.size());
        EXPECT_STREQ(NameOf(outcome.compression), NameOf(row.codec));
    }
}

// All have the codec and the fault.
void CheckEach(Compression codec, std::optional<Kind> fault, std::vector<Row> rows) {
    for (Row& row : rows) {
        row.about += " in "s + NameOf(codec);
        row.codec = codec;
        row.fault = fault;
        Check(row);
    }
}

TEST(ByteStreamTest, ReadsMembersOfEachCompressionToTheLast) {
    const std::string text = Text(3000);
    const std::string large = Text(200000);
    const std::string zeros(10000, '\0');  // more than the raw buffer holds
    for (const Codec& codec : kCodecs) {
        const std::string file = codec.compress(text);
        const std::string empty = codec.compress("");
        CheckEach(codec.compression, {},
                  {{.about = "a large member", .file = codec.compress(large), .bytes = large},
                   {.about = "an empty member", .file = empty},
                   {.about = "several", .file = empty + file + codec.compress("more") + empty, .bytes = text + "more"},
                   {.about = "zeros between and behind", .file = file + zeros + file + "\0"s, .bytes = text + text}});
        Check({.about = "zeros in front: plain", .file = "\0"s + file, .bytes = "\0"s + file});
    }
}

TEST(ByteStreamTest, KeepsTheMembersInFrontOfDamage) {
    const std::string text = Text(3000);
    for (const Codec& codec : kCodecs) {
        const std::string file = codec.compress(text);
        const std::string name = NameOf(codec.compression);
        const std::string other = codec.compression == kGzip ? Bzip2(text) : Gzip(text);
        const std::string wrong = file + Flipped(file, codec.sumFromEnd) + file;
        const std::string wrongReason = name + (codec.wrongSum == kWrongChecksum ? " checksum" : " data");
        const std::string further = "no further " + name;
        const std::size_t size = text.size();
        CheckEach(codec.compression, kDamaged,
                  {{.about = "text behind", .file = file + "text", .bytes = text, .reason = further, .right = size},
                   {.about = "zeros, text", .file = file + "\0x"s, .bytes = text, .reason = further, .right = size},
                   {.about = "another", .file = file + other, .bytes = text, .reason = further, .right = size}});
        CheckEach(codec.compression, kCut,
                  {{.about = "a byte", .file = file + file[0], .bytes = text, .reason = name, .right = size}});
        CheckEach(codec.compression, codec.wrongSum,
                  {{.about = "sum", .file = wrong, .bytes = text + text, .reason = wrongReason, .right = size}});
    }
}

TEST(ByteStreamTest, TellsACutOrAFailedReadOnceItKnowsTheCompression) {
    for (const Codec& codec : kCodecs) {
        const std::string file = codec.compress(Text(800));
        const std::size_t magicSize = codec.compression == kGzip ? 2 : codec.compression == kXz ? 6 : 4;
        const std::string start = file.substr(0, magicSize - 1);
        Check({.about = "less than its magic number: plain", .file = start, .bytes = start});
        for (std::size_t size = magicSize; size < file.size(); ++size) {
            const Outcome outcome = Drain(file.substr(0, size));
            ASSERT_EQ(outcome.fault, kCut) << NameOf(codec.compression) << ", cut to " << size;
            ASSERT_EQ(outcome.reason, "the "s + NameOf(codec.compression) + " stream ends in its middle");
            ASSERT_EQ(Drain(file.substr(0, size), 100, 4096, EIO).fault, kReadFailed);
        }
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
std::string ZstdOfWindow(char window) {
    return ZstdHeader(window) + ZstdBlock("abc", true);
}
// With a dictionary of another size: a byte of the header of the first block, which has a checksum.
std::string XzWithDictionary(std::string_view bytes, char size) {
    std::string file = Xz(bytes);
    file[16] = size;
    const auto sum = static_cast<std::uint32_t>(crc32(0, reinterpret_cast<const Bytef*>(&file[12]), 8));
    return file.replace(20, 4, reinterpret_cast<const char*>(&sum), 4);
}

TEST(ByteStreamTest, StepsOverSkippableFrames) {
    const std::string text = Text(300);
    const std::string skip = Skippable("skip me") + Skippable("", '\x5F');
    const std::string cut = Skippable("x").substr(0, 8);
    const std::size_t size = text.size();
    CheckEach(kLz4, {},
              {{.about = "all over", .file = skip + Lz4(text) + skip + Lz4(text) + skip, .bytes = text + text}});
    CheckEach(kZstd, {},
              {{.about = "all over", .file = skip + Zstd(text) + skip, .bytes = text},
               {.about = "nothing else", .file = skip + "\0"s}});
    CheckEach(kZstd, kCut,
              {{.about = "a cut in its header", .file = cut.substr(0, 7)},
               {.about = "a cut in its content", .file = Zstd(text) + cut, .bytes = text, .right = size}});
    CheckEach(kZstd, kDamaged, {{.about = "gzip behind", .file = skip + Gzip(text), .reason = "no further"}});
    CheckEach(kGzip, kDamaged,
              {{.about = "behind", .file = Gzip(text) + skip, .bytes = text, .reason = "no further", .right = size}});
}

TEST(ByteStreamTest, RefusesWhatAnotherProgramHasToUnpack) {
    const std::string legacy = "\x02\x21\x4C\x18";
    const std::string text = Text(300);
    const std::string both = Lz4(text) + legacy;
    CheckEach(
        kLz4, kRefused,
        {{.about = "the legacy format", .file = legacy, .reason = "the legacy format of lz4"},
         {.about = "behind", .file = both, .bytes = text, .reason = "the legacy format of lz4", .right = text.size()}});
    CheckEach(kZstd, {}, {{.about = "a window of 128 MiB", .file = ZstdOfWindow('\x88'), .bytes = "abc"}});
    CheckEach(kZstd, kRefused,
              {{.about = "144 MiB", .file = ZstdOfWindow('\x89'), .reason = "its zstd window is larger"}});
    CheckEach(kXz, {}, {{.about = "a dictionary of 128 MiB", .file = XzWithDictionary(text, 30), .bytes = text}});
    CheckEach(kXz, kRefused,
              {{.about = "192 MiB", .file = XzWithDictionary(text, 31), .reason = "its xz dictionary is larger"}});
}

TEST(ByteStreamTest, NamesDamageInZstd) {
    const std::string unknownBlock = ZstdHeader(0) + ZstdBlock("abc", false) + "\x06\0\0"s;
    const std::string moreThanDeclared = "\x28\xB5\x2F\xFD\x20\x09" + ZstdBlock("abcdef", true);
    CheckEach(kZstd, kDamaged,
              {{.about = "an unknown block", .file = unknownBlock, .bytes = "abc", .reason = "bad zstd data: "},
               {.about = "too much", .file = moreThanDeclared, .bytes = "abcde", .reason = "bad zstd data: "}});
}

TEST(ByteStreamTest, ChecksBlocksOfLz4) {
    const std::string large = Text(150000);  // three blocks
    const std::string file = Lz4(large, true);
    const std::string noise = velora::codec::Noise(70000);  // stored as it is: given before its sum is looked at
    const std::string stored = Flipped(Lz4(noise, true), 9);
    const std::string huge = Lz4Header() + Lz4Block("abc") + "\xFF\xFF\xFF\0"s;
    const std::string twoBlocks = large.substr(0, 131072);
    CheckEach(kLz4, {},
              {{.about = "right sums", .file = file, .bytes = large},
               {.about = "an empty block", .file = Lz4Header() + Lz4Block("") + Lz4("").substr(7)}});
    CheckEach(
        kLz4, kDamaged,
        {{.about = "a wrong sum", .file = Flipped(file, 9), .bytes = twoBlocks, .reason = "blockChecksum"},
         {.about = "a huge block", .file = huge, .bytes = "abc", .reason = "bad lz4 data: maxBlockSize_invalid"}});
    CheckEach(kLz4, kWrongChecksum,
              {{.about = "a stored block", .file = stored, .bytes = noise, .reason = "lz4 checksum"}});
}

TEST(ByteStreamTest, NamesDamageInGzip) {
    const std::string length = Flipped(Gzip("text"), 1);
    // A fixed block: "a", then a match of 3 bytes from 5 back. Room and bytes behind it change nothing.
    const std::string tooFar = Gzip("").substr(0, 10) + "\x4B\x04\x12" + std::string(100, '\1');
    CheckEach(kGzip, kWrongChecksum,
              {{.about = "a length", .file = length, .bytes = "text", .reason = "gzip checksum"}});
    CheckEach(kGzip, kDamaged,
              {{.about = "a distance", .file = tooFar, .bytes = "a", .reason = "bad gzip data: invalid distance"},
               {.about = "a method", .file = "\x1F\x8B\x07", .reason = "unknown method"}});
}

TEST(ByteStreamTest, LeavesPlainBytesAsTheyAre) {
    Check({.about = "nothing", .file = ""});
    Check({.about = "what begins like bzip2", .file = "BZh0...", .bytes = "BZh0..."});
}

TEST(ByteStreamTest, ParsesEveryHeaderOfGzip) {
    constexpr int kHasSum = 2;
    const std::string deflated = Gzip("data").substr(10);
    const auto header = [](int flags) { return "\x1F\x8B\x08"s + static_cast<char>(flags) + "time\x02\x03"; };
    const auto check = [&](int flags, const std::string& fields) {
        std::string file = header(flags) + fields;
        const auto sum = crc32(0, reinterpret_cast<const Bytef*>(file.data()), static_cast<uInt>(file.size()));
        if ((flags & kHasSum) != 0) {
            file += {static_cast<char>(sum), static_cast<char>(sum >> 8U)};
            const std::string one = Flipped(file, 1) + deflated, other = Flipped(file, 2) + deflated;
            CheckEach(kGzip, kDamaged,
                      {{.about = "a wrong byte", .file = one, .reason = "wrong checksum"},
                       {.about = "the other", .file = other, .reason = "wrong checksum"}});
        }
        CheckEach(kGzip, {}, {{.about = "flags " + std::to_string(flags), .file = file + deflated, .bytes = "data"}});
        for (std::size_t size = 2; size < file.size(); ++size) {
            EXPECT_EQ(Drain(file.substr(0, size)).fault, kCut) << "flags " << flags << ", cut to " << size;
        }
    };
    check(0, "");
    check(1, "");  // says that it is text
    check(kHasSum, "");
    check(4, "\x05\0extra"s);
    check(4, "\0\0"s);
    check(8, "name\0"s);
    check(16, "comment\0"s);
    check(4 + 16, "\x05\0extracomment\0"s);
    check(1 + kHasSum + 4 + 8 + 16, "\x05\0extraname\0comment\0"s);
    check(kHasSum + 4 + 8 + 16, "\0\0\0\0"s);
    for (const int reserved : {0x20, 0x40, 0x80}) {
        const std::string file = header(reserved) + deflated;
        CheckEach(kGzip, kDamaged, {{.about = "a reserved flag", .file = file, .reason = "reserved flags"}});
    }
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
    EXPECT_EQ(stream.GetFault().kind, kReadFailed);
    EXPECT_EQ(stream.GetFault().reason, "Input/output error");
    EXPECT_EQ(stream.GivenBytes(), 4096U + 10);
}

}  // namespace
