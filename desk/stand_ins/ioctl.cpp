// SPDX-License-Identifier: MIT
// A desk has no bridge "br0": asked for its hardware address, the configured one answers.
#include "base/ioctl_request.h"
#include "desk/stand_ins/real.h"

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <net/if.h>
#include <net/if_arp.h>

namespace {

constexpr const char *kBridge = "br0";
constexpr const char *kMacVariable = "OTA_DESK_MAC";

int answerForBridge(ifreq *request) {
    const char *const text = std::getenv(kMacVariable);
    unsigned int byte[6]{};
    if (text == nullptr || std::sscanf(text, "%2x:%2x:%2x:%2x:%2x:%2x", &byte[0], &byte[1],
                                       &byte[2], &byte[3], &byte[4], &byte[5]) != 6) {
        errno = ENODEV;
        return -1;
    }
    request->ifr_hwaddr.sa_family = ARPHRD_ETHER;
    for (int i = 0; i < 6; ++i) {
        request->ifr_hwaddr.sa_data[i] = static_cast<char>(byte[i]);
    }
    return 0;
}

} // namespace

extern "C" int ioctl(int fd, base::IoctlRequest request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void *const argument = va_arg(arguments, void *);
    va_end(arguments);
    if (request == SIOCGIFHWADDR && argument != nullptr) {
        auto *const interface = static_cast<ifreq *>(argument);
        if (std::strncmp(interface->ifr_name, kBridge, IFNAMSIZ) == 0) {
            return answerForBridge(interface);
        }
    }
    static auto *const real = desk::realFunction<int(int, base::IoctlRequest, ...)>("ioctl");
    return real(fd, request, argument);
}
