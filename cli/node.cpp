// SPDX-License-Identifier: MIT
#include "cli/node.h"

#include "platform/timers.h"

#include "base/failure.h"
#include "base/json.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <variant>

namespace cli {
namespace {

using Member = std::variant<std::string Node::*, std::uint32_t Node::*, std::uint64_t Node::*,
                            std::int32_t Node::*, bool Node::*, std::vector<Timer> Node::*,
                            std::vector<Bank> Node::*, std::vector<BankTrial> Node::*,
                            std::vector<FailedVersion> Node::*, Finished Node::*>;

struct Property {
    const char *name; // on the bus
    const char *key;  // in JSON
    Member member;
};

constexpr std::string_view kStatusRecord = "StatusRecord";

const std::array kProperties = {
    Property{"StatusWord", "status_word", &Node::statusWord},
    Property{kStatusRecord.data(), "status_record", &Node::statusRecord},
    Property{"Stage", "stage", &Node::stage},
    Property{"Percentage", "percentage", &Node::percentage},
    Property{"DownloadedBytes", "downloaded_bytes", &Node::downloadedBytes},
    Property{"Timers", "timers", &Node::timers},
    Property{"Deferred", "deferred", &Node::deferred},
    Property{"Banks", "banks", &Node::banks},
    Property{"BankTrials", "bank_trials", &Node::bankTrials},
    Property{"FailedVersions", "failed_versions", &Node::failedVersions},
    Property{"Uptime", "uptime", &Node::uptime},
    Property{"Queued", "queued", &Node::queued},
    Property{"Ticket", "ticket", &Node::ticket},
    Property{"OfferedVersion", "offered_version", &Node::version},
    Property{"Model", "model", &Node::model},
    Property{"Serial", "serial", &Node::serial},
    Property{"Mac", "mac", &Node::mac},
    Property{"WorkMode", "work_mode", &Node::workMode},
    Property{"WorkRole", "work_role", &Node::workRole},
    Property{"Onboarding", "onboarding", &Node::onboarding},
    Property{"PreferredActivationTime", "preferred_activation_time",
             &Node::preferredActivationTime},
    Property{"WaitReasonCode", "wait_reason_code", &Node::waitReasonCode},
    Property{"WaitReason", "wait_reason", &Node::waitReason},
    Property{"LastEnd", "last_end", &Node::lastEnd},
    Property{"RunningVersion", "running_version", &Node::runningVersion},
    Property{"NextVersion", "next_version", &Node::nextVersion},
    Property{"ActivationTime", "activation_time", &Node::activationTime},
    Property{"RootConnected", "root_connected", &Node::rootConnected},
    Property{"DaemonVersion", "daemon_version", &Node::daemonVersion},
};

// Each read: negative where the value is of another type.
int readValue(sd_bus_message *message, std::string &value) {
    const char *text = "";
    const int result = sd_bus_message_read(message, "s", &text);
    value = text;
    return result;
}

int readValue(sd_bus_message *message, std::uint32_t &value) {
    return sd_bus_message_read(message, "u", &value);
}

int readValue(sd_bus_message *message, std::uint64_t &value) {
    return sd_bus_message_read(message, "t", &value);
}

int readValue(sd_bus_message *message, std::int32_t &value) {
    return sd_bus_message_read(message, "i", &value);
}

int readValue(sd_bus_message *message, bool &value) {
    int flag = 0;
    const int result = sd_bus_message_read(message, "b", &flag);
    value = flag != 0;
    return result;
}

int readValue(sd_bus_message *message, std::vector<Timer> &timers) {
    timers.clear();
    int result = sd_bus_message_enter_container(message, 'a', "(su)");
    const char *name = nullptr;
    std::uint32_t seconds = 0;
    while (result >= 0 && (result = sd_bus_message_read(message, "(su)", &name, &seconds)) > 0) {
        timers.push_back({name, seconds});
    }
    return result < 0 ? result : sd_bus_message_exit_container(message);
}

int readValue(sd_bus_message *message, std::vector<Bank> &banks) {
    banks.clear();
    int result = sd_bus_message_enter_container(message, 'a', "(ssbbb)");
    const char *name = nullptr;
    const char *version = nullptr;
    int whole = 0;
    int running = 0;
    int next = 0;
    while (result >= 0 && (result = sd_bus_message_read(message, "(ssbbb)", &name, &version, &whole,
                                                        &running, &next)) > 0) {
        banks.push_back({name, version, whole != 0, running != 0, next != 0});
    }
    return result < 0 ? result : sd_bus_message_exit_container(message);
}

int readValue(sd_bus_message *message, std::vector<BankTrial> &trials) {
    trials.clear();
    int result = sd_bus_message_enter_container(message, 'a', "(sbuus)");
    const char *bank = nullptr;
    const char *lastFailure = nullptr;
    int trial = 0;
    std::uint32_t attempts = 0;
    std::uint32_t failedTrials = 0;
    while (result >= 0 &&
           (result = sd_bus_message_read(message, "(sbuus)", &bank, &trial, &attempts,
                                         &failedTrials, &lastFailure)) > 0) {
        trials.push_back({bank, trial != 0, attempts, failedTrials, lastFailure});
    }
    return result < 0 ? result : sd_bus_message_exit_container(message);
}

int readValue(sd_bus_message *message, std::vector<FailedVersion> &failed) {
    failed.clear();
    int result = sd_bus_message_enter_container(message, 'a', "(susb)");
    const char *version = nullptr;
    const char *reason = nullptr;
    std::uint32_t trials = 0;
    int refused = 0;
    while (result >= 0 && (result = sd_bus_message_read(message, "(susb)", &version, &trials,
                                                        &reason, &refused)) > 0) {
        failed.push_back({version, trials, reason, refused != 0});
    }
    return result < 0 ? result : sd_bus_message_exit_container(message);
}

int readValue(sd_bus_message *message, Finished &end) {
    const char *result = "";
    const char *reasonCode = "";
    const char *reason = "";
    const int read = sd_bus_message_read(message, "(tusss)", &end.ticket, &end.code, &result,
                                         &reasonCode, &reason);
    end.result = result;
    end.reasonCode = reasonCode;
    end.reason = reason;
    return read;
}

int readVariant(sd_bus_message *message, const Property &property, Node &node) {
    const int entered = sd_bus_message_enter_container(message, 'v', nullptr);
    if (entered < 0) {
        return entered;
    }
    const int read =
        std::visit([&](auto member) { return readValue(message, node.*member); }, property.member);
    return read < 0 ? read : sd_bus_message_exit_container(message);
}

// One name and value of the a{sv}.
int readEntry(sd_bus_message *message, Node &node, std::vector<std::string_view> &taken) {
    const char *name = nullptr;
    const int result = sd_bus_message_read(message, "s", &name);
    if (result < 0) {
        return result;
    }
    const auto *const property =
        std::find_if(kProperties.begin(), kProperties.end(),
                     [name](const Property &row) { return std::string_view(row.name) == name; });
    if (property == kProperties.end()) {
        return sd_bus_message_skip(message, "v");
    }
    if (readVariant(message, *property, node) < 0) {
        throw base::Failure(base::Outcome::failed,
                            std::string("the service describes ") + property->name +
                                " in a way that this otactl does not know: their versions differ");
    }
    taken.emplace_back(property->name);
    return 0;
}

void addValue(cJSON *object, const char *key, const std::vector<Timer> &timers) {
    base::add(object, key, timersAsJson(timers));
}

void addValue(cJSON *object, const char *key, const std::vector<Bank> &banks) {
    base::add(object, key, banksAsJson(banks));
}

void addValue(cJSON *object, const char *key, const std::vector<BankTrial> &trials) {
    base::Json list = base::newList();
    for (const BankTrial &trial : trials) {
        base::Json item = base::newObject();
        base::add(item.get(), "bank", trial.bank);
        addTrial(item.get(), trial);
        base::append(list.get(), std::move(item));
    }
    base::add(object, key, std::move(list));
}

void addValue(cJSON *object, const char *key, const Finished &end) {
    base::Json item = base::newObject();
    addEnd(item.get(), end);
    base::add(object, key, std::move(item));
}

void addValue(cJSON *object, const char *key, const std::vector<FailedVersion> &failed) {
    base::add(object, key, failedVersionsAsJson(failed));
}

template <typename Value>
void addValue(cJSON *object, const char *key, const Value &value) {
    base::add(object, key, value);
}

} // namespace

std::vector<std::string_view> takeProperties(sd_bus_message *message, Node &node) {
    std::vector<std::string_view> taken;
    int result = sd_bus_message_enter_container(message, 'a', "{sv}");
    while (result >= 0 && (result = sd_bus_message_enter_container(message, 'e', "sv")) > 0) {
        result = readEntry(message, node, taken);
        if (result >= 0) {
            result = sd_bus_message_exit_container(message);
        }
    }
    if (result >= 0) {
        result = sd_bus_message_exit_container(message);
    }
    if (result < 0) {
        throw base::Failure(base::Outcome::failed,
                            "the service's list of properties cannot be read");
    }
    return taken;
}

base::Json timersAsJson(const std::vector<Timer> &timers) {
    base::Json list = base::newList();
    for (const Timer &timer : timers) {
        base::Json object = base::newObject();
        base::add(object.get(), "name", timer.name);
        base::add(object.get(), "seconds", timer.seconds);
        base::append(list.get(), std::move(object));
    }
    return list;
}

void addBank(cJSON *object, const Bank &bank) {
    base::add(object, "bank", bank.name);
    base::add(object, "version", bank.version);
    base::add(object, "whole", bank.whole);
    base::add(object, "running", bank.running);
    base::add(object, "next", bank.next);
}

base::Json banksAsJson(const std::vector<Bank> &banks) {
    base::Json list = base::newList();
    for (const Bank &bank : banks) {
        base::Json object = base::newObject();
        addBank(object.get(), bank);
        base::append(list.get(), std::move(object));
    }
    return list;
}

void addTrial(cJSON *object, const BankTrial &trial) {
    base::add(object, "trial", trial.trial);
    base::add(object, "attempts", trial.attempts);
    base::add(object, "failed_trials", trial.failedTrials);
    base::add(object, "last_failure", trial.lastFailure);
}

base::Json failedVersionsAsJson(const std::vector<FailedVersion> &failed) {
    base::Json list = base::newList();
    for (const FailedVersion &version : failed) {
        base::Json object = base::newObject();
        base::add(object.get(), "version", version.version);
        base::add(object.get(), "trials", version.trials);
        base::add(object.get(), "reason", version.reason);
        base::add(object.get(), "refused", version.refused);
        base::append(list.get(), std::move(object));
    }
    return list;
}

void addProperties(cJSON *object, const Node &node) {
    for (const Property &property : kProperties) {
        if (property.name == kStatusRecord) {
            base::add(object, property.key, base::parsedOrText(node.statusRecord));
            continue;
        }
        std::visit([&](auto member) { addValue(object, property.key, node.*member); },
                   property.member);
    }
}

std::string governedBy(const Node &node) {
    const bool waits = std::any_of(node.timers.begin(), node.timers.end(),
                                   [](const Timer &timer) { return timer.name == TIMER_REBOOT; });
    return waits && node.ticket != 0
               ? "it governs " + node.version + " (ticket " + std::to_string(node.ticket) + ")"
               : "it governs the next image of policy 0, until the node boots or another time is "
                 "named";
}

} // namespace cli
