// SPDX-License-Identifier: MIT
// A message bus of a test's own: a dbus-daemon in a temporary folder.
#ifndef TESTS_SERVICE_BUS_PRIVATE_BUS_H
#define TESTS_SERVICE_BUS_PRIVATE_BUS_H

#include <string>
#include <sys/types.h>

class PrivateBus {
  public:
    // Everybody may do everything, even answer twice.
    static const std::string kOpenPolicy;

    // `policy`: the elements within <busconfig>. Nothing runs yet.
    explicit PrivateBus(const std::string &policy = kOpenPolicy);
    ~PrivateBus();
    PrivateBus(const PrivateBus &) = delete;
    PrivateBus &operator=(const PrivateBus &) = delete;

    // Comes back once the bus takes connections; false: it did not come up.
    bool start();
    // At once, as if it had crashed.
    void kill();
    [[nodiscard]] std::string address() const { return "unix:path=" + in("socket"); }
    // A file of the bus's folder.
    [[nodiscard]] std::string in(const std::string &name) const { return folder_ + "/" + name; }

  private:
    std::string folder_;
    pid_t child_ = -1;
};

// What the system bus lets everybody do before the services' own policies come: little.
extern const std::string kSystemBusPolicy;

#endif
