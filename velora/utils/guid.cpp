#include "velora/utils/guid.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <stdexcept>

#include "velora/utils/format_buffer.h"

namespace MiscUtils {
namespace {

using FieldsText = std::array<char, 37>;

FieldsText FieldsOf(const Guid& guid) {
    FieldsText text{};
    const auto& last = guid.Data4;
    FormatBuffer(text.data(), text.size(), "%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X",
                 guid.Data1, guid.Data2, guid.Data3, last[0], last[1], last[2], last[3], last[4],
                 last[5], last[6], last[7]);
    return text;
}

bool MayStandInGuid(char character) {
    return std::isxdigit(static_cast<unsigned char>(character)) != 0 || character == '{' ||
           character == '}' || character == '-';
}

}  // namespace

char* GuidToString(const Guid& guid, char* buffer, std::size_t size) {
    buffer[0] = '\0';
    FormatBuffer(buffer, size, "{%s}", FieldsOf(guid).data());
    return buffer;
}

char* GuidToFileName(const Guid& guid, const std::string& prefix, const std::string& suffix,
                     char* buffer, std::size_t size) {
    FormatBuffer(buffer, size, "%s-%s.%s", prefix.c_str(), FieldsOf(guid).data(), suffix.c_str());
    return buffer;
}

int ParseGuid(const std::string& text, Guid& out) {
    if (!std::ranges::all_of(text, MayStandInGuid)) {
        return 0;
    }
    unsigned data1 = 0;
    unsigned data2 = 0;
    unsigned data3 = 0;
    std::array<unsigned, 8> last{};
    if (std::sscanf(text.c_str(), "{%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x", &data1,
                    &data2, &data3, &last[0], &last[1], &last[2], &last[3], &last[4], &last[5],
                    &last[6], &last[7]) != 11) {
        return 0;
    }
    out.Data1 = data1;
    out.Data2 = static_cast<std::uint16_t>(data2);
    out.Data3 = static_cast<std::uint16_t>(data3);
    std::ranges::transform(last, out.Data4.begin(),
                           [](unsigned byte) { return static_cast<std::uint8_t>(byte); });
    return 1;
}

Guid ParseGuidOrThrow(const std::string& text) {
    Guid guid;
    if (ParseGuid(text, guid) == 0) {
        throw std::invalid_argument("Invalid guid format, expect {..}");
    }
    return guid;
}

}  // namespace MiscUtils
