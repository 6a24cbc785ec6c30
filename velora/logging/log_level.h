// The levels of log messages: the smaller the number, the more severe.

#pragma once

namespace VeloLogger::Level {

// A message is emitted when the logger's threshold is at least its level.
inline constexpr int kEmerg = 0;
inline constexpr int kFatal = 1;
inline constexpr int kAlert = 2;
inline constexpr int kCrit = 3;
inline constexpr int kError = 4;
inline constexpr int kWarn = 5;
inline constexpr int kNotice = 6;
inline constexpr int kInfo = 7;
inline constexpr int kDebug = 8;

// Tags only: no per-level operation writes at these, a caller of Write, LogV or Stream may.
inline constexpr int kNotSet = 9;
inline constexpr int kIllegal = 10;

}  // namespace VeloLogger::Level
