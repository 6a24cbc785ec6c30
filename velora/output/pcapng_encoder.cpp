#include "velora/output/pcapng_encoder.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace velora::output {

namespace {

namespace pcapng = formats::pcapng;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t kNanoseconds = 9;  // powers of ten
constexpr std::uint32_t kMost16 = std::numeric_limits<std::uint16_t>::max();

template <typename Number>
void Put(Bytes& bytes, Number number) {
    const Number ordered = LittleEndian(number);
    bytes.resize(bytes.size() + sizeof ordered);
    std::memcpy(bytes.data() + bytes.size() - sizeof ordered, &ordered, sizeof ordered);
}

void PutOption(Bytes& bytes, std::uint16_t code, std::string_view value) {
    Put(bytes, code);
    Put(bytes, static_cast<std::uint16_t>(value.size()));
    bytes.insert(bytes.end(), value.begin(), value.end());
    bytes.resize((bytes.size() + 3) / 4 * 4);
}

Bytes Block(std::uint32_t type, const Bytes& body) {
    const auto length = static_cast<std::uint32_t>(pcapng::kSmallestBlock + body.size());
    Bytes block;
    Put(block, type);
    Put(block, length);
    block.insert(block.end(), body.begin(), body.end());
    Put(block, length);
    return block;
}

}  // namespace

Bytes PcapNgEncoder::SectionHeader() {
    Bytes body;
    Put(body, pcapng::kByteOrderMagic);
    Put(body, pcapng::kVersionMajor);
    Put(body, std::uint16_t{0});
    body.resize(body.size() + 8, 0xFF);  // the section's length is not told
    return Block(pcapng::kSectionHeader, body);
}

std::optional<Bytes> PcapNgEncoder::InterfaceDescription(std::uint32_t linkType,
                                                         std::uint32_t snapLen,
                                                         std::string_view name,
                                                         std::optional<std::uint8_t> fcsLength) {
    if (!Holds(linkType)) {
        return std::nullopt;
    }
    Bytes body;
    Put(body, static_cast<std::uint16_t>(linkType));
    Put(body, std::uint16_t{0});
    Put(body, snapLen);
    if (!name.empty()) {
        PutOption(body, pcapng::kInterfaceName, name.substr(0, kMost16));
    }
    const char resolution = kNanoseconds;
    PutOption(body, pcapng::kTimestampResolution, {&resolution, 1});
    if (fcsLength) {
        const auto length = static_cast<char>(*fcsLength);
        PutOption(body, pcapng::kFcsLength, {&length, 1});
    }
    PutOption(body, pcapng::kEndOfOptions, {});
    return Block(pcapng::kInterfaceDescription, body);
}

}  // namespace velora::output
