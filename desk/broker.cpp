// SPDX-License-Identifier: MIT
// Configures, starts and stops mosquitto.
#include "desk/broker.h"

#include "desk/files.h"
#include "desk/loopback.h"

#include <unistd.h>

namespace desk {
namespace {

namespace fs = std::filesystem;

// As docs/root.md sets it up: a client is who its certificate says, also in its session's name.
constexpr const char *kWhoIsWho = "require_certificate true\n"
                                  "use_identity_as_username true\n"
                                  "use_username_as_clientid true\n"
                                  "acl_file acl\n"
                                  "message_size_limit 65536\n"
                                  "max_packet_size 69632\n";
constexpr const char *kAccessList = "user gateway\n"
                                    "topic read otaSwAgent/#\n"
                                    "pattern write otaSwAgent/%u/report\n"
                                    "pattern write otaSwAgent/%u/file-server\n";

std::string configuration(const fs::path &folder, const Certificates &certificates,
                          std::uint16_t port) {
    std::string text = "listener " + std::to_string(port) + " 127.0.0.1\n";
    // Paths from its own folder on: the run folder's name may hold anything.
    text += "certfile " + certificates.server.lexically_relative(folder).string() + "\n";
    text += "keyfile " + certificates.serverKey.lexically_relative(folder).string() + "\n";
    text += "cafile " + certificates.authority.lexically_relative(folder).string() + "\n";
    text += kWhoIsWho;
    text += "persistence false\n";
    text += "log_dest stderr\n";
    // Started by root it would become another user, who may not read the run folder.
    return text + (geteuid() == 0 ? "user root\n" : "");
}

} // namespace

Broker::Broker(const fs::path &folder, const Certificates &certificates, const Interrupt &interrupt)
    : port_(freePort()) {
    fs::create_directories(folder);
    writeFile(folder / "mosquitto.conf", configuration(folder, certificates, port_));
    writeFile(folder / "acl", kAccessList);
    const fs::path log = folder / "mosquitto.log";
    process_ = Child(Launch{{systemProgram("mosquitto"), "-c", "mosquitto.conf"}, folder, log});
    waitUntilListening(process_, port_, "the root's broker (mosquitto)", log, interrupt);
}

} // namespace desk
