// The version of the tool, which both of its contracts print.

#pragma once

inline constexpr char kVersion[] = "7.0.3205";
