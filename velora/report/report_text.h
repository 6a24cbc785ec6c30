// Text as it stands in a page of HTML.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace velora::report {

// Any bytes as text of HTML that shows them and is never markup, in attributes too; what could
// deceive the reader stands as ShownText has it (velora/utils/shown_text.h).
[[nodiscard]] std::string HtmlOf(std::string_view bytes);

// "1,234,567".
[[nodiscard]] std::string GroupedText(std::uint64_t number);

// A span of time, given in nanoseconds, with three digits or two units: "12.5 ms", "6.62 s",
// "3 min 20 s", "5 h 7 min", "12 d 4 h".
[[nodiscard]] std::string SpanText(double nanoseconds);

// A moment in UTC with as many digits of its fraction as it has, by threes:
// "2026-11-21 03:40:35.459742".
[[nodiscard]] std::string ShortestUtcText(std::int64_t time);

}  // namespace velora::report
