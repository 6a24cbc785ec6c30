// The view of a record, other addresses for it, and its ten copies, held against sums counted from
// nothing. An input: a byte for the link type (its remainder by the number of those below), then
// the captured bytes.

#include "velora/packet/address_copies.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "tests/packet/naive_checksum.h"
#include "velora/packet/address_rewrite.h"
#include "velora/packet/ip_place.h"
#include "velora/packet/packet_view.h"

using fuzz::Check;
using velora::packet::AddressCopies;
using velora::packet::AddressRewrite;
using velora::packet::IpAddress;
using velora::packet::IpPlace;
using velora::packet::PacketView;

namespace {

constexpr std::uint32_t kLinkTypes[] = {0, 1, 12, 14, 101, 108, 113, 228, 276, 147, 229};
constexpr std::size_t kAddresses = 12;
constexpr std::size_t kHeader = 20;

// An IPv4 packet, from its header on, that may be cut.
struct Packet {
    explicit Packet(std::string_view captured) : bytes(captured) {
        protocol = Byte(9);
        isUdp = protocol == 17 || protocol == 136;
        const std::size_t at = headerLength + (protocol == 6 ? 16 : 6);
        const unsigned totalLength = Byte(2) * 256U + Byte(3);
        const bool isLater = (Byte(6) & 0x1FU) != 0 || Byte(7) != 0;
        if ((protocol == 6 || protocol == 33 || isUdp) && at + 2 <= bytes.size() && !isLater &&
            (totalLength == 0 || at + 2 <= totalLength) &&
            !(isUdp && Byte(at) == 0 && Byte(at + 1) == 0)) {
            sumAt = at;
        }
    }

    [[nodiscard]] std::uint8_t Byte(std::size_t at) const {
        return static_cast<std::uint8_t>(bytes[at]);
    }

    // What all covered words add up to, the sum's own field included: 0 for a sum that is right and
    // covers what was captured, and how wrong it is else.
    [[nodiscard]] std::uint64_t HeaderFault() const {
        return SumOfWords(bytes.substr(0, headerLength)) % 65535;
    }
    [[nodiscard]] std::uint64_t TransportFault(std::size_t addresses) const {
        const std::uint64_t length = bytes.size() - headerLength;
        return (SumOfWords(bytes.substr(kAddresses, addresses)) + protocol + length % 65535 +
                SumOfWords(bytes.substr(headerLength))) %
               65535;
    }
    // An option's type anywhere among the options will do.
    [[nodiscard]] bool MayHaveRoute() const {
        return bytes.substr(kHeader, headerLength - kHeader).find_first_of("\x83\x89") !=
               std::string_view::npos;
    }

    std::string_view bytes;
    std::size_t headerLength = (Byte(0) & 0x0FU) * std::size_t{4};
    std::uint8_t protocol = 0;
    bool isUdp = false;
    std::optional<std::size_t> sumAt;  // the transport sum, where it is to be updated
};

// The captured address as it is in the copy.
std::string Moved(std::string_view address, std::uint8_t network) {
    const bool isCopied = address.starts_with("\xC0\xA8");
    return (isCopied ? std::string{10, static_cast<char>(network)} : std::string()) +
           std::string(address.substr(isCopied ? 2 : 0));
}

// A sum of zero has one form for each protocol.
void CheckForm(const Packet& copy, std::size_t at, bool isUdp) {
    Check(copy.Byte(at) != copy.Byte(at + 1) || copy.Byte(at) != (isUdp ? 0x00 : 0xFF),
          "zero is written as the protocol does");
}

void CheckCopy(const Packet& original, std::string_view bytes, std::uint8_t network) {
    const Packet copy(bytes);
    std::string expected(original.bytes);
    expected.replace(kAddresses, 8,
                     Moved(original.bytes.substr(12, 4), network) +
                         Moved(original.bytes.substr(16, 4), network));
    expected.replace(10, 2, copy.bytes.substr(10, 2));
    if (original.sumAt) {
        expected.replace(*original.sumAt, 2, copy.bytes.substr(*original.sumAt, 2));
        CheckForm(copy, *original.sumAt, original.isUdp);
        Check(copy.TransportFault(8) == original.TransportFault(8) ||
                  (original.MayHaveRoute() && copy.TransportFault(4) == original.TransportFault(4)),
              "the transport sum is as right as it was");
    }
    Check(bytes == expected, "only addresses and sums differ");
    CheckForm(copy, 10, false);
    Check(copy.HeaderFault() == original.HeaderFault(), "the header's sum is as right as it was");
}

void CheckView(const PacketView& view, const IpPlace& place,
               const std::vector<std::uint8_t>& record) {
    const auto begin = static_cast<std::size_t>(view.payload.data() - record.data());
    Check(begin >= place.offset && begin + view.payload.size() <= record.size(),
          "the payload was captured");
    Check(view.version == place.version && view.source.Version() == view.version &&
              view.destination.Version() == view.version,
          "all are of one version");
    Check(!view.destinationPort || (view.sourcePort && view.payload.size() >= 4),
          "ports were captured");
}

// All words of an IPv6 packet, its addresses and its transport sum among them, add up to the same
// where the sum follows both addresses.
void CheckIpv6Rewrite(const AddressRewrite& rewrite, std::size_t header,
                      const std::vector<std::uint8_t>& record) {
    const auto sumBetween = [](const std::vector<std::uint8_t>& bytes, std::size_t from,
                               std::size_t to) {
        return SumOfWords(std::string(bytes.data() + from, bytes.data() + to)) % 65535;
    };
    const IpAddress source(std::array<std::uint8_t, 16>{0xFD, 0x12, 0x34});
    const IpAddress destination(std::array<std::uint8_t, 16>{0xFE, 0x80, 0xA5});
    std::vector<std::uint8_t> changed = record;
    Check(!rewrite.Apply(source, IpAddress(1), changed) && !rewrite.Apply(1, 2, changed) &&
              changed == record,
          "the versions are not mixed");
    Check(rewrite.Apply(source, destination, changed), "all else is written");
    const std::size_t from = header + 8;
    const std::size_t to = header + 24;
    const std::size_t behind = header + 40;
    std::vector<std::uint8_t> expected = record;
    std::copy(source.Bytes().begin(), source.Bytes().end(), &expected[from]);
    std::copy(destination.Bytes().begin(), destination.Bytes().end(), &expected[to]);
    const std::uint64_t before = sumBetween(record, header, record.size());
    const std::uint64_t after = sumBetween(changed, header, record.size());
    const auto [sum, old] = std::mismatch(changed.begin(), changed.end(), expected.begin());
    if (sum == changed.end()) {
        return;  // there was none to update
    }
    const auto rest = std::min<std::ptrdiff_t>(2, changed.end() - sum);
    Check(sum - changed.begin() >= static_cast<std::ptrdiff_t>(behind) &&
              std::equal(sum + rest, changed.end(), old + rest),
          "only addresses and one sum differ");
    const std::uint64_t onRoute =
        before + sumBetween(changed, to, behind) + 65535 - sumBetween(record, to, behind);
    Check(after == before || after == onRoute % 65535, "the sum is as right as it was");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::uint32_t linkType = kLinkTypes[data[0] % std::size(kLinkTypes)];
    const std::vector<std::uint8_t> record(data + 1, data + size);
    const auto place = velora::packet::FindIp(linkType, record);
    const auto view = PacketView::Of(linkType, record);
    const auto rewrite = AddressRewrite::Plan(linkType, record);
    Check(place.has_value() == view.has_value() && place.has_value() == rewrite.has_value(),
          "one header for all");
    if (place) {
        CheckView(*view, *place, record);
    }
    if (place && place->version == 6) {
        CheckIpv6Rewrite(*rewrite, place->offset, record);
    }
    const auto copies = AddressCopies::Plan(linkType, record);
    const auto header = velora::packet::FindIpv4(linkType, record);
    if (!header) {
        Check(!copies, "a copy needs an IPv4 header");
        return 0;
    }
    Check(*header + kHeader <= record.size() && record[*header] >= 0x45 && record[*header] < 0x50,
          "the header is one");
    const std::string whole(record.begin(), record.end());
    const std::string_view packet = std::string_view(whole).substr(*header);
    const bool isInside =
        packet.substr(12).starts_with("\xC0\xA8") || packet.substr(16).starts_with("\xC0\xA8");
    Check(copies.has_value() == isInside, "copied for its addresses");
    std::vector<std::uint8_t> copy = record;
    for (std::uint8_t network = 0; copies && network < AddressCopies::kNetworks; ++network) {
        copies->Apply(network, copy);
        const std::string bytes(copy.begin(), copy.end());
        Check(bytes.starts_with(whole.substr(0, *header)), "the link header stays");
        CheckCopy(Packet(packet), std::string_view(bytes).substr(*header), network);
    }
    return 0;
}
