#include "velora/utils/shown_text.h"

#include <cstddef>
#include <cstdint>

#include "velora/utils/hex_text.h"

namespace velora::utils {
namespace {

std::uint8_t ByteAt(std::string_view text, std::size_t index) {
    return index < text.size() ? static_cast<std::uint8_t>(text[index]) : 0;
}

struct Character {
    std::size_t size = 0;  // in bytes; 0 where no valid UTF-8 stands
    std::uint32_t point = 0;
};

// The character at the front, as RFC 3629 has it: no surrogates, nothing longer than it need be.
Character FirstCharacter(std::string_view text) {
    const std::uint8_t lead = ByteAt(text, 0);
    if (lead < 0x80) {
        return {1, lead};
    }
    const std::size_t size = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4) {
        return {};
    }
    std::uint32_t point = lead & (0xFFU >> (size + 1));
    for (std::size_t index = 1; index < size; ++index) {
        const std::uint8_t next = ByteAt(text, index);
        if ((next & 0xC0U) != 0x80) {
            return {};
        }
        point = (point << 6U) | (next & 0x3FU);
    }
    constexpr std::uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool isSurrogate = point >= 0xD800 && point <= 0xDFFF;
    return point < kSmallest[size] || point > 0x10FFFF || isSurrogate ? Character{}
                                                                      : Character{size, point};
}

bool IsHarmless(const Character& character) {
    const std::uint32_t point = character.point;
    const bool isControl = point < 0x20 || (point >= 0x7F && point <= 0x9F);
    const bool turnsDirection = point == 0x061C || point == 0x200E || point == 0x200F ||
                                (point >= 0x202A && point <= 0x202E) ||
                                (point >= 0x2066 && point <= 0x2069);
    return character.size > 0 && !isControl && !turnsDirection && point != '\\';
}

// The text with every byte of a character that may not stay written as \xNN.
template <typename Predicate>
std::string WithHexBytes(std::string_view text, const Predicate& mayStay) {
    std::string shown;
    while (!text.empty()) {
        const Character character = FirstCharacter(text);
        const std::size_t size = character.size > 0 ? character.size : 1;
        if (mayStay(character)) {
            shown += text.substr(0, size);
        } else {
            for (const char byte : text.substr(0, size)) {
                shown += "\\x" + MiscUtils::ByteToHex(static_cast<std::uint8_t>(byte));
            }
        }
        text.remove_prefix(size);
    }
    return shown;
}

}  // namespace

std::string ShownText(std::string_view text) {
    return WithHexBytes(text, IsHarmless);
}

std::string Utf8Text(std::string_view text) {
    return WithHexBytes(text, [](const Character& character) { return character.size > 0; });
}

bool IsUtf8(std::string_view text) {
    while (!text.empty()) {
        const std::size_t size = FirstCharacter(text).size;
        if (size == 0) {
            return false;
        }
        text.remove_prefix(size);
    }
    return true;
}

}  // namespace velora::utils
