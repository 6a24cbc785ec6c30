// Numbers as they stand in messages.

#pragma once

#include <cstdint>
#include <string>

namespace velora::capture {

// "1 record", "2 records".
[[nodiscard]] std::string Counted(std::uint64_t count, const std::string& noun);

// Nanoseconds as seconds, with no more digits than they need: "0.25 s", "-3 s".
[[nodiscard]] std::string Seconds(std::int64_t nanoseconds);

}  // namespace velora::capture
