// A whole input file through the capture reader, compiled once for each way of storing a capture:
// FUZZ_SUFFIX is the suffix by which the reader tells it.
//
// gzip and bzip2: the first byte chooses between the bytes as they are, for the decompressor, and
// the bytes compressed, which gets the fuzzer past the checksums. Wherever the capture inside is
// known, the records delivered are held against it.

#include <cstdint>
#include <cstring>

#include <pcap/pcap.h>

#include "fuzz/fuzz_support.h"
#include "tests/support/capture_builder.h"

using fuzz::Check;
using velora::formats::classic::FileHeader;

namespace {

constexpr std::string_view kSuffix = FUZZ_SUFFIX;
constexpr bool kGzip = kSuffix.ends_with(".gz");
constexpr bool kBzip2 = kSuffix.ends_with(".bz2");

template <typename Header>
Header HeaderAt(std::string_view bytes, std::size_t offset) {
    Header header{};
    std::memcpy(&header, bytes.data() + offset, sizeof header);
    return header;
}

// The records are those that stand in the classic file `bytes`, up to the first that is not whole.
void CheckClassic(const ModelInput& records, std::string_view bytes) {
    const bool swap =
        HeaderAt<FileHeader>(bytes, 0).magic == velora::formats::classic::kMagicSwapped;
    std::size_t offset = sizeof(FileHeader);
    const auto next = [&] {
        const auto header = HeaderAt<velora::formats::classic::RecordHeader>(bytes, offset);
        offset += sizeof header;
        return swap ? Swapped(header) : header;
    };
    for (const ModelRecord& record : records) {
        Check(bytes.size() - offset >= sizeof(velora::formats::classic::RecordHeader),
              "a header was there");
        const velora::formats::classic::RecordHeader header = next();
        Check(header.tsSec == record.sec && header.tsUsec == record.usec &&
                  header.origLen == record.origLen && header.inclLen == record.data.size(),
              "a record's header is the file's");
        Check(bytes.substr(offset, header.inclLen) == record.data, "its bytes are the file's");
        offset += header.inclLen;
    }
    if (bytes.size() - offset < sizeof(velora::formats::classic::RecordHeader)) {
        return;
    }
    const std::size_t length = next().inclLen;
    const std::size_t left = bytes.size() - offset;
    const bool endsWithStream = kBzip2 && length == left;  // the one that bzip2 does not deliver
    const bool isEmpty = !kGzip && !kBzip2 && length == 0;
    Check(length > left || endsWithStream || isEmpty, "no whole record is left");
}

// The records are those that libpcap finds in the file at `path`.
void CheckPcapNg(const ModelInput& records, const std::string& path) {
    char errorText[PCAP_ERRBUF_SIZE];
    pcap_t* const file = pcap_open_offline(path.c_str(), errorText);
    Check(file != nullptr, "libpcap opens what the reader reads");
    pcap_pkthdr* header = nullptr;
    const unsigned char* data = nullptr;
    for (const ModelRecord& record : records) {
        Check(pcap_next_ex(file, &header, &data) == 1, "libpcap has as many packets");
        Check(static_cast<std::int32_t>(header->ts.tv_sec) == record.sec &&
                  static_cast<std::int32_t>(header->ts.tv_usec) == record.usec &&
                  header->len == record.origLen && header->caplen == record.data.size() &&
                  std::memcmp(data, record.data.data(), header->caplen) == 0,
              "a packet is libpcap's");
    }
    Check(pcap_next_ex(file, &header, &data) < 0, "libpcap has no more packets");
    pcap_close(file);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    bool isCompressed = false;
    if ((kGzip || kBzip2) && !bytes.empty()) {
        isCompressed = bytes[0] % 2 != 0;
        bytes.remove_prefix(1);
    }
    const std::string path =
        !isCompressed ? fuzz::WriteScratch("in" FUZZ_SUFFIX, bytes)
                      : fuzz::WriteScratch("in" FUZZ_SUFFIX, kGzip ? Gzip(bytes) : Bzip2(bytes, 1));
    CImpex_Libpcap input;
    if (!input.OpenInput(path)) {
        return 0;
    }
    const ModelInput records = fuzz::ReadRecords(input);
    static_cast<void>(input.ReadRecordTimestamp());
    if (bytes.size() >= sizeof(FileHeader) && (isCompressed || !(kGzip || kBzip2))) {
        if (HeaderAt<FileHeader>(bytes, 0).magic == velora::formats::classic::kMagicPcapNg) {
            CheckPcapNg(records, path);
        } else {
            CheckClassic(records, bytes);
        }
    }

    // A header skipped puts the reader out of step: payload is then read as headers.
    CImpex_Libpcap outOfStep;
    Check(outOfStep.OpenInput(path), "what opened once opens again");
    static_cast<void>(outOfStep.ReadRecordTimestamp());
    static_cast<void>(fuzz::ReadRecords(outOfStep));
    return 0;
}
