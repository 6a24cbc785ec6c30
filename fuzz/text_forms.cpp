// GUIDs, addresses, hexadecimal digits and byte amounts: each reader on any text, each writer on
// any value into a buffer of exactly the size that its header names, and round trips.

#include <array>
#include <cstdint>
#include <cstring>
#include <stdexcept>

#include "fuzz/fuzz_support.h"
#include "velora/utils/byte_quantity.h"
#include "velora/utils/guid.h"
#include "velora/utils/hex_text.h"
#include "velora/utils/net_address_text.h"

using fuzz::Check;
using namespace MiscUtils;

namespace {

void CheckGuidRoundTrip(const Guid& guid) {
    std::array<char, 39> text{};
    Guid again;
    Check(ParseGuid(GuidToString(guid, text.data(), text.size()), again) == 1 && again == guid,
          "the text of a GUID is read back");
    std::array<char, 39 + 4> fileName{};
    Check(std::strlen(GuidToFileName(guid, "ab", "cd", fileName.data(), fileName.size())) == 42,
          "the file name of a GUID has its length");
}

void CheckGuidText(const std::string& text) {
    const Guid before = {1, 2, 3, {4}};
    Guid guid = before;
    const bool isGuid = ParseGuid(text, guid) == 1;
    Check(isGuid || guid == before, "a refused text leaves the GUID alone");
    CheckGuidRoundTrip(guid);
    try {
        Check(ParseGuidOrThrow(text) == guid && isGuid, "both readers read the same");
    } catch (const std::invalid_argument&) {
        Check(!isGuid, "both readers refuse the same");
    }
}

void CheckIpText(const std::string& text) {
    const std::array<std::uint8_t, 4> before = {1, 2, 3, 4};
    std::array<std::uint8_t, 4> address = before;
    Check(ParseIp(text, address.data()) == 1 || address == before,
          "a refused text leaves the address alone");
    std::array<char, 16> dotted{};
    std::array<std::uint8_t, 4> again{};
    Check(ParseIp(IpToString(address.data(), dotted.data(), dotted.size()), again.data()) == 1 &&
              again == address,
          "the text of an address is read back");
    Check(SameSubnet(address.data(), again.data(), before.data()) == 1, "equal under any mask");
}

void CheckHexText(const std::string& text) {
    const std::string bytes = HexToBytes(text);
    Check(bytes.size() == text.size() / 2, "two characters make a byte");
    Check(HexToBytes(BytesToHex(text)) == text, "digits are read back");
    Check(HexToBytes(BytesToHex(bytes)) == bytes, "digits of bytes that were read are read back");
    std::array<char, 16> dotted{};
    std::array<std::uint8_t, 4> address{};
    Check(ParseIp(HexIpToDotted(text, dotted.data()), address.data()) == 1,
          "any text makes an address");
    if (text.size() >= 11) {
        Check(address[3] == HexPairToByte(text[9], text[10]), "of the digits at their positions");
    }
}

void CheckValues(const std::uint8_t* data) {
    Guid guid;
    std::memcpy(&guid, data, sizeof guid);
    CheckGuidRoundTrip(guid);
    std::array<char, 18> mac{};
    Check(std::strlen(MacToString(data, mac.data(), mac.size())) == 17, "a MAC address has 17");
    std::int64_t amount = 0;
    std::memcpy(&amount, data, sizeof amount);
    Check(FormatByteSize(amount).ends_with("B"), "an amount has a unit");
    double rate = 0;
    std::memcpy(&rate, data + sizeof amount, sizeof rate);
    std::array<char, 17> buffer{};
    const std::size_t size = data[0] % buffer.size();
    FormatByteRate(buffer.data(), size, rate);
    Check(buffer[size] == '\0', "a rate stays in its buffer");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    CheckGuidText(text);
    CheckHexText(text);
    // Longer texts end the process, see CopyBounded.
    if (std::strlen(text.c_str()) < 128) {
        CheckIpText(text);
    }
    if (size >= sizeof(Guid)) {
        CheckValues(data);
    }
    return 0;
}
