// SPDX-License-Identifier: MIT
// One row per property: name, reader, comparison.
#include "service/bus/properties.h"

#include "service/bus/bus_calls.h"
#include "service/bus/text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <new>

namespace service {

namespace {

// Both sides round to whole seconds, and the loop may be late.
constexpr std::int64_t kTimerSlack = 2;
// A row of sd-bus has this much room for flags.
constexpr std::uint64_t kFlagBits = (std::uint64_t{1} << 56U) - 1;

template <typename Value>
constexpr const char *kSignature = nullptr;
template <>
constexpr const char *kSignature<std::string> = "s";
template <>
constexpr const char *kSignature<std::uint32_t> = "u";
template <>
constexpr const char *kSignature<std::uint64_t> = "t";
template <>
constexpr const char *kSignature<std::int32_t> = "i";
template <>
constexpr const char *kSignature<bool> = "b";
template <>
constexpr const char *kSignature<std::vector<TimerLeft>> = "a(su)";
template <>
constexpr const char *kSignature<std::vector<BankView>> = "a(ssbbb)";
template <>
constexpr const char *kSignature<std::vector<BankTrial>> = "a(sbuus)";
template <>
constexpr const char *kSignature<std::vector<FailedTrial>> = "a(susb)";
template <>
constexpr const char *kSignature<base::End> = "(tusss)";

int append(sd_bus_message *reply, const std::string &value) {
    return sd_bus_message_append(reply, "s", busText(value).c_str());
}
int append(sd_bus_message *reply, std::uint32_t value) {
    return sd_bus_message_append(reply, "u", value);
}
int append(sd_bus_message *reply, std::uint64_t value) {
    return sd_bus_message_append(reply, "t", value);
}
int append(sd_bus_message *reply, std::int32_t value) {
    return sd_bus_message_append(reply, "i", value);
}
int append(sd_bus_message *reply, bool value) {
    return sd_bus_message_append(reply, "b", static_cast<int>(value));
}
int append(sd_bus_message *reply, const TimerLeft &timer) {
    return sd_bus_message_append(reply, "(su)", busText(timer.name).c_str(), timer.seconds);
}
int append(sd_bus_message *reply, const BankView &bank) {
    return sd_bus_message_append(reply, "(ssbbb)", busText(bank.name).c_str(),
                                 busText(bank.version).c_str(), static_cast<int>(bank.whole),
                                 static_cast<int>(bank.running), static_cast<int>(bank.next));
}
int append(sd_bus_message *reply, const BankTrial &bank) {
    return sd_bus_message_append(reply, "(sbuus)", busText(bank.bank).c_str(),
                                 static_cast<int>(bank.trial), bank.attempts, bank.failedTrials,
                                 busText(bank.lastFailure).c_str());
}
int append(sd_bus_message *reply, const FailedTrial &failed) {
    return sd_bus_message_append(reply, "(susb)", busText(failed.version).c_str(), failed.trials,
                                 busText(failed.reason).c_str(), static_cast<int>(failed.refused));
}
int append(sd_bus_message *reply, const base::End &end) {
    return sd_bus_message_append(reply, "(tusss)", end.ticket, end.code,
                                 busText(end.result).c_str(), busText(end.reasonCode).c_str(),
                                 busText(end.reason).c_str());
}
template <typename Row>
int append(sd_bus_message *reply, const std::vector<Row> &rows) {
    // Behind the "a" of the array stands the signature of one row.
    int result = sd_bus_message_open_container(reply, 'a', kSignature<std::vector<Row>> + 1);
    for (auto row = rows.begin(); result >= 0 && row != rows.end(); ++row) {
        result = append(reply, *row);
    }
    return result < 0 ? result : sd_bus_message_close_container(reply);
}

template <typename Value>
bool differ(const Value &before, const Value &now, std::chrono::seconds) {
    return before != now;
}
bool differ(const std::vector<TimerLeft> &before, const std::vector<TimerLeft> &now,
            std::chrono::seconds passed) {
    return !std::ranges::equal(before, now, [passed](const TimerLeft &was, const TimerLeft &is) {
        const auto due = std::max<std::int64_t>(0, std::int64_t{was.seconds} - passed.count());
        const auto gap = std::int64_t{is.seconds} - due;
        return was.name == is.name && gap >= -kTimerSlack && gap <= kTimerSlack;
    });
}

struct Property {
    const char *name;
    const char *signature;
    std::uint64_t flags;
    sd_bus_property_get_t get;
    bool (*differs)(const NodeStatus &before, const NodeStatus &now, std::chrono::seconds passed);
};

// Nothing may be thrown into libsystemd, and only memory can run out here.
template <auto Member>
int get(sd_bus *, const char *, const char *, const char *, sd_bus_message *reply, void *calls,
        sd_bus_error *) {
    try {
        return append(reply, static_cast<BusCalls *>(calls)->status().*Member);
    } catch (const std::bad_alloc &) {
        return -ENOMEM;
    }
}

int getDaemonVersion(sd_bus *, const char *, const char *, const char *, sd_bus_message *reply,
                     void *, sd_bus_error *) {
    return sd_bus_message_append(reply, "s", OTA_VERSION);
}

template <typename Value>
Value valueOf(Value NodeStatus::*);

template <auto Member>
constexpr Property property(const char *name) {
    return {name, kSignature<decltype(valueOf(Member))>, SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE,
            get<Member>,
            [](const NodeStatus &before, const NodeStatus &now, std::chrono::seconds passed) {
                return differ(before.*Member, now.*Member, passed);
            }};
}

// Always new, so a change is not worth a word.
template <auto Member>
constexpr Property silentProperty(const char *name) {
    return {name, kSignature<decltype(valueOf(Member))>, 0, get<Member>, nullptr};
}

constexpr std::array kProperties = {
    property<&NodeStatus::statusWord>("StatusWord"),
    property<&NodeStatus::statusRecord>("StatusRecord"),
    property<&NodeStatus::stage>("Stage"),
    property<&NodeStatus::percentage>("Percentage"),
    property<&NodeStatus::downloadedBytes>("DownloadedBytes"),
    property<&NodeStatus::timers>("Timers"),
    property<&NodeStatus::deferred>("Deferred"),
    property<&NodeStatus::banks>("Banks"),
    property<&NodeStatus::bankTrials>("BankTrials"),
    property<&NodeStatus::failedVersions>("FailedVersions"),
    silentProperty<&NodeStatus::uptime>("Uptime"),
    property<&NodeStatus::queued>("Queued"),
    property<&NodeStatus::ticket>("Ticket"),
    property<&NodeStatus::version>("OfferedVersion"),
    property<&NodeStatus::model>("Model"),
    property<&NodeStatus::serial>("Serial"),
    property<&NodeStatus::mac>("Mac"),
    property<&NodeStatus::workMode>("WorkMode"),
    property<&NodeStatus::workRole>("WorkRole"),
    property<&NodeStatus::onboarding>("Onboarding"),
    property<&NodeStatus::preferredActivationTime>("PreferredActivationTime"),
    property<&NodeStatus::waitReasonCode>("WaitReasonCode"),
    property<&NodeStatus::waitReason>("WaitReason"),
    property<&NodeStatus::lastEnd>("LastEnd"),
    property<&NodeStatus::runningVersion>("RunningVersion"),
    property<&NodeStatus::nextVersion>("NextVersion"),
    property<&NodeStatus::activationTime>("ActivationTime"),
    property<&NodeStatus::rootConnected>("RootConnected"),
    Property{"DaemonVersion", "s", SD_BUS_VTABLE_PROPERTY_CONST, getDaemonVersion, nullptr},
};

} // namespace

void addProperties(std::vector<sd_bus_vtable> &vtable) {
    for (const Property &row : kProperties) {
        vtable.push_back(
            SD_BUS_PROPERTY(row.name, row.signature, row.get, 0, row.flags & kFlagBits));
    }
}

std::vector<const char *> changedProperties(const NodeStatus &before, const NodeStatus &now,
                                            std::chrono::seconds passed) {
    std::vector<const char *> names;
    for (const Property &row : kProperties) {
        if (row.differs != nullptr && row.differs(before, now, passed)) {
            names.push_back(row.name);
        }
    }
    names.push_back(nullptr);
    return names;
}

} // namespace service
