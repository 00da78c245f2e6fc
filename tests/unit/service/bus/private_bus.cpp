// SPDX-License-Identifier: MIT
// Starting and ending the dbus-daemon.
#include "private_bus.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int kStartLimitMs = 10'000;

[[noreturn]] void becomeBus(const std::string &config, const std::string &log, int addressFd) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // It writes a line about each call that it denies.
    dup2(open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644), STDERR_FILENO);
    const std::string file = "--config-file=" + config;
    const std::string print = "--print-address=" + std::to_string(addressFd);
    execlp("dbus-daemon", "dbus-daemon", file.c_str(), "--nofork", "--nopidfile", print.c_str(),
           nullptr);
    _exit(127);
}

// The address is printed once the socket listens.
bool printsAddress(int fd) {
    pollfd waiting{fd, POLLIN, 0};
    std::array<char, 512> text{};
    return poll(&waiting, 1, kStartLimitMs) == 1 && read(fd, text.data(), text.size()) > 0;
}

} // namespace

// For the user that it runs as: without a word about users the bus lets in no other.
const std::string PrivateBus::kOpenPolicy = R"(<policy context="default">
  <allow own="*"/>
  <allow send_destination="*" eavesdrop="true"/>
  <allow receive_sender="*"/>
  <allow send_requested_reply="false" send_type="method_return"/>
  <allow send_requested_reply="false" send_type="error"/>
  <allow receive_requested_reply="false" receive_type="method_return"/>
  <allow receive_requested_reply="false" receive_type="error"/>
</policy>)";

const std::string kSystemBusPolicy = R"(<policy context="default">
  <allow user="*"/>
  <deny own="*"/>
  <deny send_type="method_call"/>
  <allow send_type="signal"/>
  <allow send_requested_reply="true" send_type="method_return"/>
  <allow send_requested_reply="true" send_type="error"/>
  <allow receive_type="method_call"/>
  <allow receive_type="method_return"/>
  <allow receive_type="error"/>
  <allow receive_type="signal"/>
  <allow send_destination="org.freedesktop.DBus" send_interface="org.freedesktop.DBus"/>
  <allow send_interface="org.freedesktop.DBus.Introspectable"/>
  <allow send_interface="org.freedesktop.DBus.Properties"/>
</policy>)";

PrivateBus::PrivateBus(const std::string &policy) {
    folder_ = (std::filesystem::temp_directory_path() / "otad-bus.XXXXXX").string();
    if (mkdtemp(folder_.data()) == nullptr) {
        folder_.clear();
        return;
    }
    // Other users are to reach the socket.
    std::filesystem::permissions(folder_, std::filesystem::perms(0755));
    std::ofstream(in("bus.conf"))
        << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
           " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n<busconfig>\n"
        << "<listen>" << address() << "</listen>\n<auth>EXTERNAL</auth>\n"
        << policy << "\n</busconfig>\n";
}

PrivateBus::~PrivateBus() {
    kill();
    std::error_code ignored;
    if (!folder_.empty()) {
        std::filesystem::remove_all(folder_, ignored);
    }
}

bool PrivateBus::start() {
    std::array<int, 2> ends{-1, -1};
    if (folder_.empty() || pipe(ends.data()) != 0) {
        return false;
    }
    child_ = fork();
    if (child_ == 0) {
        close(ends[0]);
        becomeBus(in("bus.conf"), in("log"), ends[1]);
    }
    close(ends[1]);
    const bool up = child_ > 0 && printsAddress(ends[0]);
    close(ends[0]);
    return up;
}

void PrivateBus::kill() {
    if (child_ > 0) {
        ::kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
        child_ = -1;
    }
}
