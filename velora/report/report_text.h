// Names, numbers and times as a report has them in words.

#pragma once

#include <cstdint>
#include <string>

#include "velora/exact/run_report.h"

namespace velora::report {

// Stands where there is nothing to tell.
inline constexpr char kNothing[] = "\u2013";

// What to call an input, and the output where it is now. A path stands there as it is, but for an
// empty one, which is ''.
[[nodiscard]] std::string NameText(const exact::InputName& name);
[[nodiscard]] std::string OutputNameText(const exact::RunSetting& setting,
                                         const exact::RunReport& report);

// "1,234,567"; "1,234 records".
[[nodiscard]] std::string GroupedText(std::uint64_t number);
[[nodiscard]] std::string GroupedCountText(std::uint64_t count, const std::string& noun);

// "1.23 MB".
[[nodiscard]] std::string SizeText(std::uint64_t bytes);

// A span of time, given in nanoseconds, with three digits or two units: "12.5 ms", "6.62 s",
// "3 min 20 s", "5 h 7 min", "12 d 4 h".
[[nodiscard]] std::string SpanText(double nanoseconds);

// A moment in UTC with as many digits of its fraction as it has, by threes:
// "2026-11-21 03:40:35.459742".
[[nodiscard]] std::string ShortestUtcText(std::int64_t time);

}  // namespace velora::report
