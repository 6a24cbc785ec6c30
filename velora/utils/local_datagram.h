// One message to another process of this machine.

#pragma once

#include <string>

#include "velora/utils/api.h"

namespace MiscUtils {

// Sends `payload` as one datagram to the Unix-domain socket (unix(7)) bound at `socketPath`, from a
// socket made for it and closed again. It waits while the receiver's queue is full; there is no
// answer and no second attempt. Any thread may call it.
//
// Throws std::runtime_error "<error text> : socket()" or "<error text> : sendto()", the second for
// a path where nobody listens and for a payload too long for one datagram. A path of more than 107
// bytes ends the process (SIGABRT).
VELORA_API void SendLocalDatagram(const std::string& socketPath, const std::string& payload);

}  // namespace MiscUtils
