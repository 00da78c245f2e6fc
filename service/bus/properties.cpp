// SPDX-License-Identifier: MIT
#include "service/bus/properties.h"

#include "service/bus/bus_calls.h"
#include "service/bus/record_message.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <string_view>

namespace service {

namespace {

// Both sides round to whole seconds, and the loop may be late.
constexpr std::int64_t kTimerSlack = 2;
// A row of sd-bus has this much room for flags.
constexpr std::uint64_t kFlagBits = (std::uint64_t{1} << 56U) - 1;

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

// Nothing may be thrown into libsystemd, and only memory can run out here.
int get(sd_bus * /*bus*/, const char * /*path*/, const char * /*interface*/, const char *name,
        sd_bus_message *reply, void *calls, sd_bus_error * /*error*/) {
    try {
        const NodeStatus &status = static_cast<BusCalls *>(calls)->status();
        int result = -ENOENT;
        base::eachField<NodeStatus>([&](const auto &property) {
            if (std::string_view(property.key) == name) {
                result = appendValue(reply, status.*property.member);
            }
        });
        return result;
    } catch (const std::bad_alloc &) {
        return -ENOMEM;
    }
}

constexpr std::uint64_t flagsOf(Told told) {
    switch (told) {
    case Told::changes:
        return SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE;
    case Told::constant:
        return SD_BUS_VTABLE_PROPERTY_CONST;
    case Told::never:
        break;
    }
    return 0;
}

template <typename Value>
const char *signatureOf(const Property<Value> & /*property*/) {
    return kSignature<Value>.data();
}

} // namespace

void addProperties(std::vector<sd_bus_vtable> &vtable) {
    base::eachField<NodeStatus>([&](const auto &property) {
        vtable.push_back(SD_BUS_PROPERTY(property.key, signatureOf(property), get, 0,
                                         flagsOf(property.told) & kFlagBits));
    });
}

std::vector<const char *> changedProperties(const NodeStatus &before, const NodeStatus &now,
                                            std::chrono::seconds passed) {
    std::vector<const char *> names;
    base::eachField<NodeStatus>([&](const auto &property) {
        if (property.told == Told::changes &&
            differ(before.*property.member, now.*property.member, passed)) {
            names.push_back(property.key);
        }
    });
    names.push_back(nullptr);
    return names;
}

} // namespace service
