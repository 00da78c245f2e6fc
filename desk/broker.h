// SPDX-License-Identifier: MIT
// The root's message broker: a mosquitto of its own with TLS on the loopback interface.
#ifndef DESK_BROKER_H
#define DESK_BROKER_H

#include "desk/certificates.h"
#include "desk/child.h"

#include <cstdint>
#include <filesystem>
#include <string>

namespace desk {

class Broker {
  public:
    // The certificates lie beside the folder. Throws a Failure where it does not come up.
    Broker(const std::filesystem::path &folder, const Certificates &certificates,
           const Interrupt &interrupt);

    // "127.0.0.1:PORT"
    [[nodiscard]] std::string address() const { return "127.0.0.1:" + std::to_string(port_); }

  private:
    std::uint16_t port_;
    Child process_;
};

} // namespace desk

#endif
