// SPDX-License-Identifier: MIT
#include "report/metrics.h"

#include "base/failure.h"
#include "report/exposition.h"

#include <optional>
#include <sstream>

namespace report {
namespace {

using Type = Exposition::Type;

// Of a counter's name: what is counted, and of what.
struct Counted {
    std::string what;
    std::vector<std::string> of;
    std::uint64_t number = 0;
};

std::vector<Counted> countedIn(const Counters &counters) {
    std::vector<Counted> all;
    all.reserve(counters.size());
    for (const auto &[name, number] : counters) {
        std::istringstream words(name);
        Counted one{{}, {}, number};
        words >> one.what;
        for (std::string word; words >> word;) {
            one.of.push_back(word);
        }
        all.push_back(std::move(one));
    }
    return all;
}

// Calls each(counted) for those of that name and so many words behind it.
template <typename Each>
void ofKind(const std::vector<Counted> &counted, const char *what, std::size_t words,
            const Each &each) {
    for (const Counted &one : counted) {
        if (one.what == what && one.of.size() == words) {
            each(one);
        }
    }
}

void addUp(Exposition &text, bool answers) {
    text.family("up", Type::gauge, "1 where the service answered.");
    text.figure({}, answers ? 1 : 0);
}

void addEvents(Exposition &text, const std::vector<Counted> &counted) {
    text.family("events_total", Type::counter,
                "Events of the node since its first start, with result and reason code. Requests "
                "ended: event=\"finished\"; downloads that failed and were tried again: "
                "event=\"attempt-failed\"; boots: event=\"boot\".");
    constexpr std::size_t kEventWords = 3;
    ofKind(counted, "event", kEventWords, [&](const Counted &one) {
        text.figure({{"event", one.of[0]}, {"result", one.of[1]}, {"reason_code", one.of[2]}},
                    one.number);
    });
    text.family("other_events_total", Type::counter, "Events beyond the names that are counted.");
    ofKind(counted, "other", 0, [&](const Counted &one) { text.figure({}, one.number); });
}

void addStages(Exposition &text, const std::vector<Counted> &counted) {
    text.family("stages_total", Type::counter, "Stages of an upgrade that ended.");
    ofKind(counted, "stage", 1, [&](const Counted &one) {
        text.figure({{"stage", one.of[0]}}, one.number);
    });
    text.family("stage_seconds_total", Type::counter, "How long they lasted, together.");
    ofKind(counted, "milliseconds", 1, [&](const Counted &one) {
        text.seconds({{"stage", one.of[0]}}, one.number);
    });
    text.family("downloaded_bytes_total", Type::counter,
                "Bytes of images that arrived, of downloads that failed as well.");
    ofKind(counted, "bytes", 0, [&](const Counted &one) { text.figure({}, one.number); });
}

void addNode(Exposition &text, const cli::Node &node) {
    text.family("info", Type::gauge, "Always 1; which node, and what it runs and boots next.");
    text.figure({{"model", node.model},
                 {"serial", node.serial},
                 {"mac", node.mac},
                 {"version", node.runningVersion},
                 {"next_version", node.nextVersion},
                 {"service_version", node.daemonVersion}},
                1);
    text.family("stage", Type::gauge, "Always 1; where the upgrade is.");
    text.figure({{"stage", node.stage}, {"offered_version", node.version}}, 1);
    text.family("uptime_seconds", Type::gauge, "Since the node booted.");
    text.figure({}, node.uptime);
    text.family("queued_requests", Type::gauge, "That wait for their turn.");
    text.figure({}, node.queued);
    text.family("downloaded_bytes", Type::gauge, "Of the image that arrives now.");
    text.figure({}, node.downloadedBytes);
    text.family("timer_seconds", Type::gauge, "Until the timer runs out.");
    for (const cli::Timer &timer : node.timers) {
        text.figure({{"timer", timer.name}}, timer.seconds);
    }
    text.family("root_connected", Type::gauge, "1 where the broker of the root answers.");
    text.figure({}, node.rootConnected ? 1 : 0);
}

void addBanks(Exposition &text, const cli::Node &node) {
    text.family("bank", Type::gauge, "1 where the bank's image is whole.");
    for (const cli::Bank &bank : node.banks) {
        text.figure({{"bank", bank.name},
                     {"version", bank.version},
                     {"running", bank.running ? "yes" : "no"},
                     {"next", bank.next ? "yes" : "no"}},
                    bank.whole ? 1 : 0);
    }
    text.family("trial_attempts_left", Type::gauge, "Boots that a bank on trial has left.");
    for (const cli::BankTrial &bank : node.bankTrials) {
        if (bank.trial) {
            text.figure({{"bank", bank.bank}}, bank.attempts);
        }
    }
    text.family("failed_trials", Type::gauge,
                "Of versions that are remembered because they failed.");
    for (const cli::FailedVersion &failed : node.failedVersions) {
        text.figure({{"version", failed.version},
                     {"reason", failed.reason},
                     {"refused", failed.refused ? "yes" : "no"}},
                    failed.trials);
    }
}

void addMemory(Exposition &text, const std::vector<ProcessMemory> &processes) {
    text.family("memory_bytes", Type::gauge, "Resident memory of the service and of its host.");
    for (const ProcessMemory &process : processes) {
        text.figure({{"process", process.name}}, process.residentBytes);
    }
    text.family("memory_peak_bytes", Type::gauge, "The most that they had since they started.");
    for (const ProcessMemory &process : processes) {
        text.figure({{"process", process.name}}, process.peakBytes);
    }
}

Counters readCounters(cli::BusClient &client) {
    const cli::Message answer = client.call("Counters", "");
    Counters counters;
    const char *name = nullptr;
    std::uint64_t number = 0;
    int result = sd_bus_message_enter_container(answer.get(), 'a', "(st)");
    while (result >= 0 &&
           (result = sd_bus_message_read(answer.get(), "(st)", &name, &number)) > 0) {
        counters.emplace_back(name, number);
    }
    if (result < 0) {
        throw base::Failure(base::Outcome::failed, "the answer to Counters cannot be read");
    }
    return counters;
}

pid_t processOf(cli::BusClient &client) {
    sd_bus_creds *known = nullptr;
    pid_t process = 0;
    if (sd_bus_get_name_creds(client.bus(), service::kBusName, SD_BUS_CREDS_PID, &known) >= 0) {
        sd_bus_creds_get_pid(known, &process);
        sd_bus_creds_unref(known);
    }
    return process;
}

} // namespace

Measured measure(cli::BusClient &client) {
    return {client.readNode(), readCounters(client), memoryOf(processOf(client))};
}

std::string metricsText(const Measured &measured) {
    const std::vector<Counted> counted = countedIn(measured.counters);
    Exposition text;
    addUp(text, true);
    addNode(text, measured.node);
    addBanks(text, measured.node);
    addEvents(text, counted);
    addStages(text, counted);
    addMemory(text, measured.processes);
    return text.text();
}

std::string metricsOfNone() {
    Exposition text;
    addUp(text, false);
    return text.text();
}

} // namespace report
