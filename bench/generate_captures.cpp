// Makes the captures of the benchmark: the same bytes for the same arguments, on every machine.
//
// Usage: generate_captures DIRECTORY FILES RECORDS
//
// Writes FILES classic captures of RECORDS records each, DIRECTORY/in0000.pcap and so on. Frames
// have 64, 594 or 1514 bytes in the ratio 7:4:1 (the mix that forwarding benchmarks call IMIX),
// IPv4 headers with addresses of which half are in 192.168, and content that compresses by about
// half. The times of the files interleave: each advances by 0 to 40 microseconds a record, from a
// common start.

#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <string_view>

#include "velora/formats/classic_format.h"

namespace {

namespace classic = velora::formats::classic;

constexpr std::array<std::uint32_t, 12> kFrameSizes = {64,  594, 64, 64,  1514, 64,
                                                       594, 64,  64, 594, 64,   594};

// Half noise, half text, cut at random places: neither a constant nor incompressible.
std::string MakeContent(std::mt19937& random) {
    constexpr std::string_view kText =
        "GET /index.html HTTP/1.1\r\nHost: example.test\r\nAccept: */*\r\nConnection: "
        "keep-alive\r\n\r\n";
    std::string content;
    while (content.size() < 65536) {
        content += kText.substr(random() % kText.size());
        for (int count = 0; count < 40; ++count) {
            content += static_cast<char>(random());
        }
    }
    return content;
}

void FillFrame(std::array<char, 1514>& frame, std::uint32_t size, std::string_view content,
               std::mt19937& random) {
    const std::size_t from = random() % (content.size() - frame.size());
    std::memcpy(frame.data(), content.data() + from, size);
    const std::array<std::uint32_t, 2> networks = {0x0000A8C0, 0x000000CB};  // 192.168/16, 203.0/16
    const auto address = [&] {
        return networks[random() % 2] | static_cast<std::uint32_t>(random() << 16);
    };
    const std::uint32_t source = address();
    const std::uint32_t destination = address();
    std::memset(frame.data(), 0x02, 12);
    std::memcpy(frame.data() + 12, "\x08\x00\x45\x00", 4);
    std::memcpy(frame.data() + 26, &source, sizeof source);
    std::memcpy(frame.data() + 30, &destination, sizeof destination);
}

bool WriteCapture(const std::string& path, std::uint32_t records, std::uint32_t seed) {
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        return false;
    }
    std::mt19937 random(
        seed);  // its sequence is fixed by the standard, unlike that of distributions
    const std::string content = MakeContent(random);
    const classic::FileHeader header{classic::kMagic, 2, 4, 0, 0, 65535, 1};
    std::fwrite(&header, sizeof header, 1, file);
    std::uint64_t microseconds = 1'700'000'000'000'000 + random() % 40;
    std::array<char, 1514> frame{};
    for (std::uint32_t count = 0; count < records; ++count) {
        const std::uint32_t size = kFrameSizes[random() % kFrameSizes.size()];
        FillFrame(frame, size, content, random);
        const classic::RecordHeader record{static_cast<std::int32_t>(microseconds / 1'000'000),
                                           static_cast<std::int32_t>(microseconds % 1'000'000),
                                           size, size};
        std::fwrite(&record, sizeof record, 1, file);
        std::fwrite(frame.data(), size, 1, file);
        microseconds += random() % 41;
    }
    return std::fclose(file) == 0;
}

bool ParseNumber(std::string_view text, std::uint32_t& number) {
    return std::from_chars(text.data(), text.data() + text.size(), number).ec == std::errc();
}

}  // namespace

int main(int argc, char** argv) {
    std::uint32_t files = 0;
    std::uint32_t records = 0;
    if (argc != 4 || !ParseNumber(argv[2], files) || !ParseNumber(argv[3], records)) {
        std::fputs("Usage: generate_captures DIRECTORY FILES RECORDS\n", stderr);
        return 2;
    }
    for (std::uint32_t file = 0; file < files; ++file) {
        std::array<char, 24> name{};
        std::snprintf(name.data(), name.size(), "in%04u.pcap", file);
        const std::string path = std::string(argv[1]) + "/" + name.data();
        if (!WriteCapture(path, records, file + 1)) {
            std::perror(path.c_str());
            return 1;
        }
    }
}
