// SPDX-License-Identifier: MIT
// Configures, starts and stops a dbus-daemon.
#include "desk/private_bus.h"

#include "desk/failure.h"
#include "desk/files.h"

#include <chrono>
#include <thread>

namespace desk {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr auto kStartLimit = 10s;
constexpr auto kGlance = 10ms;

// Whoever may connect, which is the owner of the process alone, may do everything.
const char *const kConfiguration = R"(<!DOCTYPE busconfig PUBLIC
 "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path=bus</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow own="*"/>
    <allow send_destination="*"/>
    <allow receive_sender="*"/>
  </policy>
</busconfig>
)";

Launch launch(const fs::path &folder, const fs::path &log) {
    writeFile(folder / "bus.conf", kConfiguration);
    return {{"dbus-daemon", "--config-file=bus.conf", "--nofork", "--nopidfile", "--nosyslog",
             "--print-address"},
            folder,
            log};
}

} // namespace

PrivateBus::PrivateBus(const fs::path &folder, const fs::path &log, const Interrupt &interrupt)
    : process_(launch(folder, log)) {
    const auto deadline = std::chrono::steady_clock::now() + kStartLimit;
    // It prints its address once it listens; the socket is there a moment before that.
    while (!process_.next()) {
        interrupt.check();
        if (const auto ending = process_.ending()) {
            throw Failure("the message bus (dbus-daemon) ended with " + *ending +
                          "; is it installed? What it said is in " + log.string());
        }
        if (std::chrono::steady_clock::now() > deadline) {
            throw Failure("the message bus (dbus-daemon) does not come up; see " + log.string());
        }
        std::this_thread::sleep_for(kGlance);
    }
}

} // namespace desk
