// SPDX-License-Identifier: MIT
// Servers on the loopback interface, as children of the test that end with it.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace ota::test {

// A port that nobody listens on; never one of those that the agent's transfers leave from.
int freePort();

// Runs in the test's folder until it is destroyed.
class Server {
  public:
    // Starts the command and waits until it listens; a test failure where it never does.
    Server(const std::vector<std::string> &command, int port);
    ~Server();
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    std::string url(const std::string &scheme, const std::string &path) const;

  private:
    void waitUntilItListens() const;

    int mPort;
    pid_t mPid;
};

} // namespace ota::test
