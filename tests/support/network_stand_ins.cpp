// SPDX-License-Identifier: MIT
// Stand-ins for sockets, interface requests and sysinfo.
#include "base/ioctl_request.h"
#include "journal.h"
#include "next_function.h"
#include "node.h"

#include <net/if.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>

using namespace ota::test;

namespace {

// The socket that the agent is given; no real descriptor comes near it.
constexpr int kSocket = 9999;

std::string familyName(int family) {
    return family == AF_INET ? "AF_INET" : std::to_string(family);
}

std::string typeName(int type) {
    return type == SOCK_STREAM ? "SOCK_STREAM" : std::to_string(type);
}

} // namespace

extern "C" {

int socket(int family, int type, int protocol) noexcept {
    if (!agentIsActive()) {
        return nextFunction<int(int, int, int)>("socket")(family, type, protocol);
    }
    const HarnessScope harness;
    journal().add(Kind::kQuery, "socket " + familyName(family) + " " + typeName(type) + " " +
                                    std::to_string(protocol));
    if (const int result = node().resultOf("socket"); result != 0) {
        errno = EMFILE;
        return -1;
    }
    return kSocket;
}

int close(int descriptor) {
    if (!agentIsActive() || descriptor != kSocket) {
        static auto *const next = nextFunction<int(int)>("close");
        return next(descriptor);
    }
    const HarnessScope harness;
    journal().add(Kind::kQuery, "close socket");
    return 0;
}

int ioctl(int descriptor, base::IoctlRequest request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    if (!agentIsActive()) {
        return nextFunction<int(int, base::IoctlRequest, ...)>("ioctl")(descriptor, request,
                                                                        argument);
    }
    const HarnessScope harness;
    auto *interface = static_cast<struct ifreq *>(argument);
    EXPECT_EQ(descriptor, kSocket);
    EXPECT_EQ(request, static_cast<base::IoctlRequest>(SIOCGIFHWADDR));
    journal().add(Kind::kQuery,
                  "ioctl SIOCGIFHWADDR " +
                      std::string(interface->ifr_name, strnlen(interface->ifr_name, IFNAMSIZ)));
    const int result = node().resultOf("ioctl");
    if (result < 0) {
        errno = ENODEV;
        return result;
    }
    std::memcpy(interface->ifr_hwaddr.sa_data, node().mac.data(), node().mac.size());
    return result;
}

int setsockopt(int descriptor, int level, int option, const void *value,
               socklen_t length) noexcept {
    if (!agentIsActive()) {
        return nextFunction<int(int, int, int, const void *, socklen_t)>("setsockopt")(
            descriptor, level, option, value, length);
    }
    const HarnessScope harness;
    int number = 0;
    std::memcpy(&number, value, std::min<std::size_t>(length, sizeof number));
    const bool segmentSize = level == IPPROTO_TCP && option == TCP_MAXSEG;
    journal().add(Kind::kAction,
                  "setsockopt " + std::to_string(descriptor) + " " +
                      (segmentSize ? std::string("IPPROTO_TCP TCP_MAXSEG")
                                   : std::to_string(level) + " " + std::to_string(option)) +
                      " " + std::to_string(number) + " " + std::to_string(length));
    return node().resultOf("setsockopt");
}

int sysinfo(struct sysinfo *info) noexcept {
    if (!agentIsActive()) {
        return nextFunction<int(struct sysinfo *)>("sysinfo")(info);
    }
    const HarnessScope harness;
    journal().add(Kind::kQuery, "sysinfo");
    const int result = node().resultOf("sysinfo");
    if (result == 0) {
        *info = {};
        info->uptime = node().uptime;
    }
    return result;
}

} // extern "C"
