// SPDX-License-Identifier: MIT
// A desk has many nodes on one machine, and the agent's downloads come from sixteen local ports: a
// node that was given an address of its own on the loopback interface has them for itself.
#include "desk/stand_ins/real.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace {

constexpr const char *kAddressVariable = "OTA_DESK_ADDRESS";

// Whoever asks for no port would be given a free one on any address.
bool isAnyAddressWithPort(const sockaddr *address, socklen_t length) {
    if (address == nullptr || length < sizeof(sockaddr_in) || address->sa_family != AF_INET) {
        return false;
    }
    const auto *const wanted = reinterpret_cast<const sockaddr_in *>(address);
    return wanted->sin_addr.s_addr == htonl(INADDR_ANY) && wanted->sin_port != 0;
}

} // namespace

extern "C" int bind(int fd, const sockaddr *addr, socklen_t len) noexcept {
    static auto *const real = desk::realFunction<int(int, const sockaddr *, socklen_t)>("bind");
    const char *const text = std::getenv(kAddressVariable);
    if (text != nullptr && isAnyAddressWithPort(addr, len)) {
        sockaddr_in own = *reinterpret_cast<const sockaddr_in *>(addr);
        if (inet_pton(AF_INET, text, &own.sin_addr) == 1) {
            return real(fd, reinterpret_cast<const sockaddr *>(&own), sizeof(own));
        }
    }
    return real(fd, addr, len);
}
