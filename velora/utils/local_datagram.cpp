#include "velora/utils/local_datagram.h"

#include <cerrno>

#include <sys/socket.h>
#include <sys/un.h>

#include "velora/utils/bounded_copy.h"
#include "velora/utils/errno_text.h"
#include "velora/utils/scope_guards.h"

namespace MiscUtils {

void SendLocalDatagram(const std::string& socketPath, const std::string& payload) {
    const UniqueFd sender(socket(AF_UNIX, SOCK_DGRAM, 0));
    if (!sender) {
        throw ErrnoError(errno, "socket()");
    }
    sockaddr_un address{};
    static_assert(sizeof address == 110 && sizeof address.sun_path == 108);
    address.sun_family = AF_UNIX;
    CopyBounded(address.sun_path, socketPath, "SendLocalDatagram");
    if (sendto(sender.Get(), payload.data(), payload.size(), 0,
               reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0) {
        throw ErrnoError(errno, "sendto()");
    }
}

}  // namespace MiscUtils
