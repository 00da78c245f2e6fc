// SPDX-License-Identifier: MIT
#include "host/manager_socket.h"

#include "base/trusted_path.h"
#include "host/supervisor_link.h"

#include <cstdio>
#include <cstdlib>
#include <poll.h>
#include <unistd.h>

namespace host {
namespace {

constexpr int kGlanceMs = 250;

void sayWhatIsWaitedFor(const std::string &path, const std::string &found) {
    std::fprintf(stderr,
                 "notice: ota-host: the agent waits until %s is there; start the configuration "
                 "manager that makes it\n",
                 path.c_str());
    const base::Json note = newNote("waits-for");
    base::add(note.get(), "path", path);
    if (!found.empty()) {
        complain("what is there is not the configuration manager's socket: " + found);
        base::add(note.get(), "found", found);
    }
    tellSupervisor(note);
}

} // namespace

// Not with sleep(): where the node's clock is a play's, that one passes at once.
void awaitManagerSocket(const base::Channel &supervisor, const std::string &path) {
    std::string said = "nothing yet";
    for (;;) {
        const std::string flaw = base::whyNoTrustedSocket(path);
        if (flaw.empty()) {
            return;
        }
        const std::string found = access(path.c_str(), F_OK) == 0 ? flaw : "";
        if (found != said) {
            sayWhatIsWaitedFor(path, found);
            said = found;
        }
        pollfd entry{supervisor.fd(), POLLRDHUP, 0};
        if (poll(&entry, 1, kGlanceMs) > 0) {
            std::exit(0); // the supervisor ended
        }
    }
}

} // namespace host
