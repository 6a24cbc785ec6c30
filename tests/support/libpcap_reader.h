// A second opinion on the files that the tool writes.

#pragma once

#include <string>

// Reads a capture with libpcap and returns the bytes of a classic little-endian Ethernet capture of
// the records it delivered: those of the file itself when libpcap reads the file as it was meant.
// A file that libpcap refuses gives its error text.
[[nodiscard]] std::string RewrittenFromLibpcap(const std::string& path);
