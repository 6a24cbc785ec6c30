// Gives each address in a capture another one, and the checksums follow. Records without an IP
// header are left out; what packets tell of addresses in other places (ICMP errors, DNS) stays.
#include <array>
#include <cstdint>
#include <iostream>
#include <map>
#include <vector>

#include <velora/capture/capture_reader.h>
#include <velora/formats/byte_order.h>
#include <velora/output/capture_writer.h>
#include <velora/packet/address_rewrite.h>

using velora::packet::AddressRewrite;
using velora::packet::IpAddress;

namespace {

// In place of the first address that is seen 10.0.0.1 or fd00::1, of the second 10.0.0.2 or
// fd00::2, and so on.
IpAddress Alias(std::map<IpAddress, IpAddress>& aliases, const IpAddress& address) {
    const auto number = static_cast<std::uint32_t>(aliases.size() + 1);
    const auto [known, isNew] = aliases.try_emplace(address, 0x0A000000 + number);
    if (isNew && address.Version() == 6) {
        std::array<std::uint8_t, 16> bytes{0xFD};
        velora::formats::StoreBig(&bytes[12], number);
        known->second = IpAddress(bytes);
    }
    return known->second;
}

}  // namespace

int main(int argc, char** argv) {
    velora::capture::CaptureReader reader;
    if (argc != 3) {
        return 2;
    }
    if (const auto problem = reader.Open(argv[1])) {
        std::cerr << argv[1] << ": " << problem->text << "\n";
        return 1;
    }
    velora::output::CaptureWriter writer(argv[2]);
    std::map<IpAddress, IpAddress> aliases;
    std::uint64_t leftOut = 0;
    for (const velora::capture::Record& record : reader) {
        std::vector<std::uint8_t> bytes(record.Bytes().begin(), record.Bytes().end());
        const auto rewrite = AddressRewrite::Plan(record);
        if (!rewrite) {
            leftOut += 1;
            continue;
        }
        const IpAddress source = Alias(aliases, rewrite->Source());
        const IpAddress destination = Alias(aliases, rewrite->Destination());
        if (rewrite->Apply(source, destination, bytes)) {  // aliases are of the same version
            writer.Write(record.WithBytes(bytes));
        }
    }
    for (const velora::capture::DescribedInterfaces& described : reader.Interfaces()) {
        writer.Describe(described);  // those without a record
    }
    const auto outcome = writer.Finish();
    if (!outcome.IsGood() || reader.GetProblem()) {
        std::cerr << (outcome.IsGood() ? reader.GetProblem()->text : outcome.text) << "\n";
        return 1;
    }
    for (const auto& [address, alias] : aliases) {
        std::cout << address.Text() << " is " << alias.Text() << "\n";
    }
    std::cout << writer.Counts().records << " records, " << leftOut << " left out\n";
}
