// Guid: a 16-byte identifier, and its texts.
//
// A plain value in the byte order of the host: its fields are numbers, not the bytes of a message.
// The functions have no state; any thread may call them.
//
// Example:
//     const MiscUtils::Guid guid = MiscUtils::ParseGuidOrThrow(text);
//     char buffer[39];
//     puts(MiscUtils::GuidToString(guid, buffer, sizeof buffer));

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "velora/utils/api.h"

namespace MiscUtils {

struct Guid {
    std::uint32_t Data1 = 0;              // the first group of the text
    std::uint16_t Data2 = 0;              // the second
    std::uint16_t Data3 = 0;              // the third
    std::array<std::uint8_t, 8> Data4{};  // the fourth, two bytes, and the fifth, six

    // Equal in every field.
    friend bool operator==(const Guid&, const Guid&) = default;
};
static_assert(sizeof(Guid) == 16);

// Writes "{6B29FC40-CA47-1067-B31D-00DD010662DA}", in upper case, and returns `buffer`. The text
// takes 39 bytes with its zero; `size` is not looked at, so a smaller buffer is overrun.
VELORA_API char* GuidToString(const Guid& guid, char* buffer, std::size_t size);

// Writes "<prefix>-6B29FC40-CA47-1067-B31D-00DD010662DA.<suffix>" and returns `buffer`. The text
// takes the lengths of prefix and suffix and 39 bytes; `size` is not looked at.
VELORA_API char* GuidToFileName(const Guid& guid, const std::string& prefix,
                                const std::string& suffix, char* buffer, std::size_t size);

// Reads the text of GuidToString in upper or lower case. Returns 1 and sets `out`, or returns 0 and
// leaves it alone.
//
// A text with anything but hexadecimal digits, braces and hyphens is refused, blanks at either end
// included, and so is one that does not open with a brace. Apart from that the reader is lenient,
// with sscanf(3): groups may be shorter, a group may have a minus sign before it, and what follows
// the last digit is not looked at, so that the closing brace may be missing.
[[nodiscard]] VELORA_API int ParseGuid(const std::string& text, Guid& out);

// The same; throws std::invalid_argument "Invalid guid format, expect {..}" for a text that
// ParseGuid refuses.
[[nodiscard]] VELORA_API Guid ParseGuidOrThrow(const std::string& text);

}  // namespace MiscUtils
