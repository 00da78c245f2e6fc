// SPDX-License-Identifier: MIT
#include "base/bridge_address.h"

#include "otaSwAgent/records.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace base {
namespace {

constexpr const char *kBridge = "br0";

} // namespace

std::string bridgeAddress() {
    const int socket = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (socket < 0) {
        return {};
    }
    ifreq request{};
    std::strncpy(request.ifr_name, kBridge, sizeof request.ifr_name - 1);
    const bool answered = ioctl(socket, SIOCGIFHWADDR, &request) == 0;
    close(socket);
    if (!answered) {
        return {};
    }
    std::array<unsigned char, 6> bytes{};
    std::memcpy(bytes.data(), request.ifr_hwaddr.sa_data, bytes.size());
    std::array<char, OTA_MAC_WIDTH> text{};
    std::snprintf(text.data(), text.size(), "%02X:%02X:%02X:%02X:%02X:%02X", bytes[0], bytes[1],
                  bytes[2], bytes[3], bytes[4], bytes[5]);
    return text.data();
}

} // namespace base
