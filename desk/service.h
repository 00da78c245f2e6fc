// SPDX-License-Identifier: MIT
// A node under power: its message bus, the daemon that runs its host process, and who watches both.
#ifndef DESK_SERVICE_H
#define DESK_SERVICE_H

#include "desk/child.h"
#include "desk/control.h"
#include "desk/layout.h"
#include "desk/line_stream.h"
#include "desk/node_folder.h"
#include "desk/private_bus.h"

#include "base/json.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace desk {

struct ServicePlan {
    std::filesystem::path log;   // of the daemon and its host process
    bool fast = false;           // sleeps and the waits of the download pass at once
    std::uint64_t fileLimit = 0; // bytes that a file of the node may grow to; 0: no limit
    std::uint64_t cutAt = 0;     // change of the storage at which the power goes; 0: never
};

class Service {
  public:
    // Starts the bus and the watch; the node itself is off.
    Service(const Layout &layout, const NodeFolder &folder, std::string mac, ServicePlan plan,
            const Interrupt &interrupt);
    ~Service();
    Service(const Service &) = delete;
    Service &operator=(const Service &) = delete;

    // Starts the node, which is off, on the bank that boots next.
    NodeBoot boot();
    // Ends it in order; true where the power went meanwhile, as planned. Throws a Failure where it
    // does not end well.
    bool shutDown();
    // Ends it in the middle of whatever it does.
    void cutPower();

    // True once the power went by itself, as planned; the node is off.
    bool powerIsCut();
    // What the power was cut at; empty: it was not.
    [[nodiscard]] std::string cutAt() const;
    // Changes of the storage so far, where the power is to be cut at one.
    [[nodiscard]] std::uint64_t changes() const { return changes_; }

    // Readable once there is something to take.
    [[nodiscard]] int fd() const { return watch_.fd(); }
    // The next event of the node, in the order in which they happened; null where there is none
    // yet. Throws a Failure where the daemon or the watch ended by itself.
    base::Json next();

    [[nodiscard]] const Control &control() const { return control_; }

  private:
    void waitForWatch();
    void waitUntilOff();
    [[nodiscard]] std::vector<std::string> daemonCommand();
    void countChanges();
    [[noreturn]] void ended(const std::string &who, const std::string &how,
                            const std::filesystem::path &log) const;

    // Beside the log: not on the node's storage.
    [[nodiscard]] std::filesystem::path countFile() const { return plan_.log.string() + ".count"; }
    [[nodiscard]] std::filesystem::path journalFile() const {
        return plan_.log.string() + ".changes";
    }

    const Layout &layout_;
    const NodeFolder &folder_;
    std::string mac_;
    ServicePlan plan_;
    const Interrupt &interrupt_;
    PrivateBus bus_;
    Control control_;
    LineStream watch_;
    Child daemon_;
    int boots_ = 0;
    std::uint64_t changes_ = 0;
    bool powerIsCut_ = false;
};

} // namespace desk

#endif
