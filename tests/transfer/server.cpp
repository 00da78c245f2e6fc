// SPDX-License-Identifier: MIT
// Starting a server, waiting for it, stopping it by its process id.
#include "server.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <csignal>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace ota::test {

namespace {

constexpr int kFirstAgentPort = 47791;
constexpr int kLastAgentPort = 47806;
constexpr int kWaits = 500; // of 20 ms

sockaddr_in loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int portOf(int descriptor) {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    getsockname(descriptor, reinterpret_cast<sockaddr *>(&address), &length);
    return ntohs(address.sin_port);
}

bool accepts(int port) {
    const int descriptor = socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in address = loopback(port);
    const bool connected =
        connect(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    close(descriptor);
    return connected;
}

[[noreturn]] void become(const std::vector<std::string> &command) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    std::vector<char *> arguments;
    for (const std::string &argument : command) {
        arguments.push_back(const_cast<char *>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    execv(arguments.front(), arguments.data());
    _exit(127);
}

} // namespace

int freePort() {
    int port = kFirstAgentPort;
    while (port >= kFirstAgentPort && port <= kLastAgentPort) {
        const int descriptor = socket(AF_INET, SOCK_STREAM, 0);
        const sockaddr_in address = loopback(0);
        bind(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address);
        port = portOf(descriptor);
        close(descriptor);
    }
    return port;
}

Server::Server(const std::vector<std::string> &command, int port) : mPort(port), mPid(fork()) {
    if (mPid == 0) {
        become(command);
    }
    waitUntilItListens();
}

Server::~Server() {
    kill(mPid, SIGTERM);
    waitpid(mPid, nullptr, 0);
}

void Server::waitUntilItListens() const {
    for (int wait = 0; wait < kWaits; ++wait) {
        if (accepts(mPort)) {
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    ADD_FAILURE() << "no server listens on port " << mPort << " after ten seconds";
}

std::string Server::url(const std::string &scheme, const std::string &path) const {
    return scheme + "://127.0.0.1:" + std::to_string(mPort) + path;
}

} // namespace ota::test
