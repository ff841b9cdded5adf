// Reports to the service manager that started this program.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/clocks/serviceManager.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <system_error>

namespace halvexctl {

void notifyServiceManager(const std::string& assignments) {
    const char* const path = std::getenv("NOTIFY_SOCKET");
    if (path == nullptr) {
        return;
    }
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::size_t length = std::string_view(path).copy(address.sun_path, sizeof address.sun_path - 1);
    if (address.sun_path[0] == '@') {
        address.sun_path[0] = '\0';  // an abstract address
    }
    const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length);
    const bool isSent = socket >= 0 && ::sendto(socket, assignments.data(), assignments.size(), MSG_NOSIGNAL,
                                                reinterpret_cast<const sockaddr*>(&address), size) >= 0;
    const int error = errno;
    if (socket >= 0) {
        ::close(socket);
    }
    if (!isSent) {
        throw std::system_error(error, std::generic_category(), "cannot notify the service manager");
    }
}

}  // namespace halvexctl
