// SPDX-License-Identifier: MIT
// Stands for the host process: does what a script says at its start and on each event, and logs.
#include "base/bank_note.h"
#include "base/channel.h"
#include "base/json.h"
#include "node/bank_facts.h"

#include "tests/support/content_of.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <string>
#include <sys/prctl.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr int kBrokenTest = 99;
constexpr auto kGlance = std::chrono::milliseconds(5);

class Host {
  public:
    Host(std::string folder, int channel) : folder_(std::move(folder)), channel_(channel) {}

    void startUp(bool commitCheck) {
        const base::Json event = base::message({{"event", "start-up"}});
        base::add(event.get(), "commitCheck", commitCheck);
        handle(event.get());
    }

    void serve() {
        for (;;) {
            handle(receive().get());
        }
    }

  private:
    std::string in(const std::string &name) const { return folder_ + "/" + name; }

    void log(const cJSON *object) const {
        std::ofstream(in("host-log"), std::ios::app) << base::printed(object) << "\n";
    }

    // How often this event came before, to this process and to those before it.
    int timesBefore(const std::string &event) const {
        std::ifstream file(in("host-log"));
        int times = 0;
        for (std::string line; std::getline(file, line);) {
            times += base::textOf(base::parsed(line).get(), "event") == event ? 1 : 0;
        }
        return times;
    }

    void handle(const cJSON *event) {
        const std::string name = base::textOf(event, "event");
        const int times = timesBefore(name);
        log(event);
        answered_ = false;
        if (name == "start-up") {
            tellBanks();
            tellNode();
        }
        const base::Json script = base::parsed(contentOf(in("script.json")));
        const cJSON *const turns = base::itemOf(script.get(), name.c_str());
        const cJSON *action = nullptr;
        cJSON_ArrayForEach(action, cJSON_GetArrayItem(turns, times)) {
            act(name, times, action->child);
        }
        if (!answered_) {
            done(name, times, nullptr);
        }
    }

    // As the node's file has them at this moment.
    void tellBanks() {
        const auto state = node::readBootState(in("boot-state"));
        send(base::bankNote(state ? base::Result<base::BankNews>({true, node::factsOf(*state)})
                                  : state.error())
                 .get());
    }

    // Unless the test wants a host that does not come as far.
    void tellNode() {
        if (access(in("nameless").c_str(), F_OK) != 0) {
            send(base::message({{"note", "node"}, {"mac", "02:00:5E:10:00:01"}}).get());
        }
    }

    void act(const std::string &event, int times, const cJSON *action) {
        const std::string kind = action->string;
        if (kind == "say") {
            tellBanks();
            send(action);
        } else if (kind == "ask") {
            send(action);
            log(receive().get()); // the acknowledgement
        } else if (kind == "wait") {
            while (access(in(action->valuestring).c_str(), F_OK) != 0) {
                std::this_thread::sleep_for(kGlance);
            }
        } else if (kind == "copy") {
            std::ofstream(in(base::textOf(action, "to")), std::ios::binary)
                << contentOf(in(base::textOf(action, "from")));
        } else if (kind == "done") {
            done(event, times, action);
        } else if (kind == "exit") {
            _exit(action->valueint);
        } else if (kind == "signal") {
            raise(action->valueint);
        } else if (kind == "hang") {
            pause();
        } else {
            _exit(kBrokenTest);
        }
    }

    // What the script gives takes the place of the usual answer's members.
    void done(const std::string &event, int times, const cJSON *given) {
        const base::Json answer = base::message({{"done", event}});
        base::add(answer.get(), "deferred", 0);
        base::Json memory = base::message({{"after", event}});
        base::add(memory.get(), "turn", times);
        base::add(answer.get(), "memory", std::move(memory));
        for (const cJSON *const member : base::membersOf(given)) {
            cJSON_DeleteItemFromObjectCaseSensitive(answer.get(), member->string);
            base::add(answer.get(), member->string, base::Json(cJSON_Duplicate(member, 1)));
        }
        tellBanks();
        send(answer.get());
        answered_ = true;
    }

    void send(const cJSON *message) {
        if (!channel_.send(message)) {
            _exit(0); // the daemon went away
        }
    }

    base::Json receive() {
        auto message = channel_.receive();
        if (!message || !*message) {
            _exit(0);
        }
        return std::move(*message);
    }

    std::string folder_;
    base::Channel channel_;
    bool answered_ = false;
};

} // namespace

int main(int argc, char **argv) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::string folder;
    int channel = -1;
    bool commitCheck = true;
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--no-commit-check") {
            commitCheck = false;
        } else if (option == "--library") {
            folder = argv[++i];
        } else if (option == "--channel") {
            channel = std::atoi(argv[++i]);
        }
    }
    Host host(folder, channel);
    host.startUp(commitCheck);
    host.serve();
}
