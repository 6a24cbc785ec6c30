#include "velora/codec/byte_stream.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string>
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
        if (step.state == ByteStream::State::kFull) {
            out = room;
        } else if (step.state == ByteStream::State::kNeedsBytes) {
            const auto place = stream.Wanted(out);
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
    {.compression = kLz4, .compress = [](auto b) { return Lz4(b); }, .sumFromEnd = 1, .wrongSum = kWrongChecksum},
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

struct Row {
    std::string about;
    std::string file;
    std::string bytes = "";   // given
    std::string reason = "";  // part of it
    std::size_t right = 0;    // bytes that are right in spite of the fault
};

// All have the codec and the fault. That sizes of pieces and room change nothing is for the replay of
// fuzz/byte_stream.cpp, which has fewer files.
void Check(Compression codec, std::optional<Kind> fault, const std::vector<Row>& rows) {
    for (const Row& row : rows) {
        for (const auto& [piece, outSize] : {std::pair(kWhole, kWhole), {1, 7}}) {
            SCOPED_TRACE(row.about + " in " + NameOf(codec) + ", room for " + std::to_string(outSize));
            const Outcome outcome = Drain(row.file, piece, outSize);
            EXPECT_TRUE(outcome.bytes == row.bytes) << outcome.bytes.size() << " bytes, not " << row.bytes.size();
            EXPECT_EQ(outcome.fault, fault) << outcome.reason;
            EXPECT_NE(outcome.reason.find(row.reason), std::string::npos) << outcome.reason;
            EXPECT_EQ(outcome.verified, fault ? row.right : row.bytes.size());
            EXPECT_STREQ(NameOf(outcome.compression), NameOf(codec));
        }
    }
}

TEST(ByteStreamTest, ReadsMembersOfEachCompressionToTheLast) {
    const std::string large = Text(200000);
    const std::string zeros(10000, '\0');  // more than the raw buffer holds
    for (const auto& [compression, compress, sumFromEnd, wrongSum] : kCodecs) {
        const std::string empty = compress("");
        const std::string several = empty + compress(large) + zeros + compress("more") + empty + "\0"s;
        Check(compression, {}, {{.about = "several", .file = several, .bytes = large + "more"}});
    }
}

TEST(ByteStreamTest, KeepsTheMembersInFrontOfDamage) {
    const std::string text = Text(3000);
    const std::size_t size = text.size();
    for (const auto& [compression, compress, sumFromEnd, wrongSum] : kCodecs) {
        const std::string file = compress(text);
        const std::string name = NameOf(compression);
        const std::string other = compression == kGzip ? Bzip2(text) : Gzip(text);
        const std::string wrong = file + Flipped(file, sumFromEnd) + file;
        const std::string further = "no further " + name;
        Check(compression, kDamaged,
              {{.about = "zeros, text", .file = file + "\0x"s, .bytes = text, .reason = further, .right = size},
               {.about = "another", .file = file + other, .bytes = text, .reason = further, .right = size}});
        Check(compression, kCut,
              {{.about = "a byte", .file = file + file[0], .bytes = text, .reason = name, .right = size}});
        Check(compression, wrongSum,
              {{.about = "sum", .file = wrong, .bytes = text + text, .reason = name, .right = size}});
    }
}

TEST(ByteStreamTest, TellsACutOrAFailedReadOnceItKnowsTheCompression) {
    for (const auto& [compression, compress, sumFromEnd, wrongSum] : kCodecs) {
        const std::string file = compress(Text(800));
        const std::size_t magicSize = compression == kGzip ? 2 : compression == kXz ? 6 : 4;
        const std::string start = file.substr(0, magicSize - 1);
        Check(kNone, {}, {{.about = "less than a magic number", .file = start, .bytes = start}});
        for (std::size_t size = magicSize; size < file.size(); ++size) {
            const Outcome outcome = Drain(file.substr(0, size));
            ASSERT_EQ(outcome.fault, kCut) << NameOf(compression) << ", cut to " << size;
            ASSERT_EQ(outcome.reason, "the "s + NameOf(compression) + " stream ends in its middle");
            ASSERT_EQ(Drain(file.substr(0, size), 100, 4096, EIO).fault, kReadFailed);
        }
    }
}

TEST(ByteStreamTest, LeavesPlainBytesAsTheyAre) {
    const std::string zero = "\0"s + Gzip("data");
    Check(kNone, {},
          {{.about = "nothing", .file = ""},
           {.about = "zeros in front", .file = zero, .bytes = zero},
           {.about = "what begins like bzip2", .file = "BZh0...", .bytes = "BZh0..."}});
}

TEST(ByteStreamTest, StepsOverSkippableFrames) {
    const std::string text = Text(300);
    const std::string skip = "\x50\x2A\x4D\x18\7\0\0\0skip me\x5F\x2A\x4D\x18\0\0\0\0"s;
    const std::string cut = skip.substr(0, 8);
    const std::string around = skip + Lz4(text) + skip + Lz4(text) + skip;
    Check(kLz4, {}, {{.about = "all over", .file = around, .bytes = text + text}});
    Check(kZstd, {},
          {{.about = "all over", .file = skip + Zstd(text) + skip, .bytes = text},
           {.about = "alone", .file = skip + "\0"s}});
    Check(kZstd, kCut,
          {{.about = "a cut in its header", .file = cut.substr(0, 7)},
           {.about = "a cut in its content", .file = Zstd("a") + cut, .bytes = "a", .right = 1}});
    Check(kZstd, kDamaged, {{.about = "gzip behind", .file = skip + Gzip(text), .reason = "no further"}});
    Check(kGzip, kDamaged,
          {{.about = "behind", .file = Gzip("a") + skip, .bytes = "a", .reason = "further", .right = 1}});
}

TEST(ByteStreamTest, RefusesWhatAnotherProgramHasToUnpack) {
    const std::string text = Text(300);
    // A frame header that asks for a window of 128 MiB (exponent in the upper five bits), and a raw block.
    const std::string zstd = "\x28\xB5\x2F\xFD\0\x88\x19\0\0abc"s;
    // The dictionary's size is a byte of the header of the first block, which has a checksum.
    const auto xz = [&](char dictionary) {
        std::string file = Xz(text);
        file[16] = dictionary;
        const auto sum = static_cast<std::uint32_t>(crc32(0, reinterpret_cast<const Bytef*>(&file[12]), 8));
        return file.replace(20, 4, reinterpret_cast<const char*>(&sum), 4);
    };
    Check(kZstd, {}, {{.about = "a window of 128 MiB", .file = zstd, .bytes = "abc"}});
    Check(kXz, {}, {{.about = "a dictionary of 128 MiB", .file = xz(30), .bytes = text}});
    Check(kXz, kRefused, {{.about = "192 MiB", .file = xz(31), .reason = "its xz dictionary is larger"}});
}

TEST(ByteStreamTest, NamesWhatIsWrongInsideAMember) {
    const std::string tooMuch = "\x28\xB5\x2F\xFD\x20\x09\x31\0\0abcdef"s;  // of five
    Check(kZstd, kDamaged, {{.about = "too much", .file = tooMuch, .bytes = "abcde", .reason = "bad zstd data: "}});

    const std::string text = Text(150000);  // three blocks
    const std::string file = Lz4(text, true);
    const std::string noise = velora::codec::Noise(70000);  // stored as it is: given before its sum is looked at
    const std::string stored = Flipped(Lz4(noise, true), 9);
    const std::string two = text.substr(0, 131072);
    Check(kLz4, {}, {{.about = "right sums of blocks", .file = file, .bytes = text}});
    Check(kLz4, kDamaged, {{.about = "a sum", .file = Flipped(file, 9), .bytes = two, .reason = "blockChecksum"}});
    Check(kLz4, kWrongChecksum, {{.about = "stored", .file = stored, .bytes = noise, .reason = "lz4 checksum"}});

    const std::string length = Flipped(Gzip("text"), 1);
    // A fixed block: "a", then a match of 3 bytes from 5 back. Room and bytes behind it change nothing.
    const std::string tooFar = Gzip("").substr(0, 10) + "\x4B\x04\x12" + std::string(100, '\1');
    Check(kGzip, kWrongChecksum, {{.about = "a length", .file = length, .bytes = "text", .reason = "gzip checksum"}});
    Check(kGzip, kDamaged,
          {{.about = "a distance", .file = tooFar, .bytes = "a", .reason = "bad gzip data: invalid distance"},
           {.about = "a method", .file = "\x1F\x8B\x07", .reason = "unknown method"}});
}

TEST(ByteStreamTest, ParsesEveryHeaderOfGzip) {
    const std::string deflated = Gzip("data").substr(10);
    const auto header = [](int flags) { return "\x1F\x8B\x08"s + static_cast<char>(flags) + "time\x02\x03"; };
    for (const std::string& file : {header(1), header(4 + 16) + "\x05\0extracomment\0"s}) {
        Check(kGzip, {}, {{.about = "without a sum", .file = file + deflated, .bytes = "data"}});
    }
    for (const std::string& file : {header(2), header(2 + 4 + 8 + 16) + "\0\0name\0comment\0"s}) {
        const auto sum = crc32(0, reinterpret_cast<const Bytef*>(file.data()), static_cast<uInt>(file.size()));
        const std::string whole = file + static_cast<char>(sum) + static_cast<char>(sum >> 8U);
        const std::string one = Flipped(whole, 1) + deflated, other = Flipped(whole, 2) + deflated;
        Check(kGzip, {}, {{.about = "a sum", .file = whole + deflated, .bytes = "data"}});
        Check(kGzip, kDamaged, {{.about = "a wrong byte", .file = one, .reason = "wrong checksum"}});
        Check(kGzip, kDamaged, {{.about = "the other", .file = other, .reason = "wrong checksum"}});
    }
    for (const int flag : {0x20, 0x40, 0x80}) {
        Check(kGzip, kDamaged, {{.about = "reserved", .file = header(flag) + deflated, .reason = "reserved flags"}});
    }
}

TEST(ByteStreamTest, ReadsPlainBytesStraightToTheirPlace) {
    ByteStream stream(100000);
    std::vector<std::uint8_t> room(50000);
    EXPECT_EQ(stream.Read({}).state, ByteStream::State::kFull);
    ASSERT_EQ(stream.Read(room).state, ByteStream::State::kNeedsBytes);
    const std::size_t copied = stream.Wanted(room).size();
    EXPECT_LE(copied, 4096U);
    stream.Arrived(copied);
    EXPECT_EQ(stream.Read(room).given, copied);
    const auto rest = std::span(room).subspan(copied);
    const auto place = stream.Wanted(rest);
    EXPECT_TRUE(place.data() == rest.data() && place.size() == rest.size());
    stream.Arrived(10);
    EXPECT_EQ(stream.Read(rest).given, 10U);
    EXPECT_EQ(stream.GivenBytes(), copied + 10);
}

}  // namespace
