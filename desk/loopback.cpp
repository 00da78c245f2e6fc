// SPDX-License-Identifier: MIT
// Sockets on 127.0.0.1.
#include "desk/loopback.h"

#include "desk/failure.h"

#include <cerrno>
#include <cstring>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace desk {
namespace {

class Socket {
  public:
    Socket() : fd_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}
    ~Socket() { close(fd_); }
    Socket(const Socket &) = delete;
    Socket &operator=(const Socket &) = delete;

    [[nodiscard]] bool bindTo(std::uint16_t port) const {
        const sockaddr_in address = loopback(port);
        return bind(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    }
    [[nodiscard]] bool connectTo(std::uint16_t port) const {
        const sockaddr_in address = loopback(port);
        return connect(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    }
    [[nodiscard]] std::uint16_t port() const {
        sockaddr_in address{};
        socklen_t length = sizeof address;
        getsockname(fd_, reinterpret_cast<sockaddr *>(&address), &length);
        return ntohs(address.sin_port);
    }

  private:
    static sockaddr_in loopback(std::uint16_t port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return address;
    }
    int fd_;
};

} // namespace

std::uint16_t freePort() {
    constexpr int kTries = 32;
    for (int i = 0; i < kTries; ++i) {
        const Socket candidate;
        if (!candidate.bindTo(0)) {
            break;
        }
        const std::uint16_t port = candidate.port();
        if (port < kAgentFirstPort || port > kAgentLastPort) {
            return port;
        }
    }
    throw Failure(std::string("no free port on 127.0.0.1 for the file server: ") +
                  std::strerror(errno));
}

bool listens(std::uint16_t port) { return Socket().connectTo(port); }

int freeAgentPorts() {
    int count = 0;
    for (std::uint16_t port = kAgentFirstPort; port <= kAgentLastPort; ++port) {
        count += Socket().bindTo(port) ? 1 : 0;
    }
    return count;
}

} // namespace desk
