// A second opinion on the files that the tool writes.

#pragma once

#include <string>

// Reads a capture with libpcap and returns the bytes of a classic little-endian Ethernet capture of
// the records it delivered: those of the file itself when libpcap reads the file as it was meant.
// What libpcap complains of, if anything, stands behind them.
[[nodiscard]] std::string RewrittenFromLibpcap(const std::string& path);
