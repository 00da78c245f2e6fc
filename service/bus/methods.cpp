// SPDX-License-Identifier: MIT
#include "service/bus/methods.h"

#include "guard/strict_json.h"
#include "service/bus/answer.h"
#include "service/bus/text.h"

#include <cstring>
#include <exception>
#include <string>

namespace service {

namespace {

using base::Outcome;

constexpr std::uint64_t kFromAnybody = SD_BUS_VTABLE_UNPRIVILEGED;

// Asked of the bus, which knows it of every connection; one that hangs is not waited for long.
uid_t callerOf(sd_bus_message *call) {
    constexpr std::uint64_t kPatienceUs = 5'000'000;
    sd_bus_message *question = nullptr;
    sd_bus_message *answer = nullptr;
    std::uint32_t user = kNobodyKnown;
    sd_bus *const bus = sd_bus_message_get_bus(call);
    if (sd_bus_message_new_method_call(bus, &question, "org.freedesktop.DBus",
                                       "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                       "GetConnectionUnixUser") < 0 ||
        sd_bus_message_append(question, "s", sd_bus_message_get_sender(call)) < 0 ||
        sd_bus_call(bus, question, kPatienceUs, nullptr, &answer) < 0 ||
        sd_bus_message_read(answer, "u", &user) < 0) {
        user = kNobodyKnown;
    }
    sd_bus_message_unref(answer);
    sd_bus_message_unref(question);
    return user;
}

// Nothing may be thrown into libsystemd. A handler answers by itself or gives a negative error.
template <auto Handle>
int guarded(sd_bus_message *call, void *calls, sd_bus_error *) {
    try {
        static_cast<BusCalls *>(calls)->calledBy(callerOf(call));
        const int result = Handle(call, *static_cast<BusCalls *>(calls));
        if (result >= 0) {
            return 1;
        }
        return replyRefusal(call, {Outcome::wrongUse, "arguments", "not readable"});
    } catch (const std::exception &wrong) {
        return replyRefusal(call, {Outcome::failed, "call", wrong.what()});
    }
}

// Of a text that is too long anyway only as much is copied as shows it.
std::string bounded(const char *text) {
    return {text, strnlen(text, guard::StrictObject::kMaxText + 1)};
}

int offerImage(sd_bus_message *call, BusCalls &calls) {
    const char *descriptor = nullptr;
    std::uint8_t offload = 0;
    std::int32_t onboarding = 0;
    std::int32_t firstPolling = 0;
    const int result =
        sd_bus_message_read(call, "syii", &descriptor, &offload, &onboarding, &firstPolling);
    if (result >= 0) {
        calls.offerImage(bounded(descriptor), {offload, onboarding, firstPolling},
                         answerTo(call, AnswerText::ticket));
    }
    return result;
}

int triggerMobileApp(sd_bus_message *call, BusCalls &calls) {
    std::int32_t flag = 0;
    const int result = sd_bus_message_read(call, "i", &flag);
    if (result >= 0) {
        calls.triggerMobileApp(flag, answerTo(call, AnswerText::ticket));
    }
    return result;
}

int setActivationTime(sd_bus_message *call, BusCalls &calls) {
    const char *record = nullptr;
    const int result = sd_bus_message_read(call, "s", &record);
    if (result >= 0) {
        calls.setActivationTime(bounded(record), answerTo(call, AnswerText::ticket));
    }
    return result;
}

int cancel(sd_bus_message *call, BusCalls &calls) {
    std::uint64_t ticket = 0;
    const int result = sd_bus_message_read(call, "t", &ticket);
    if (result >= 0) {
        calls.cancel(ticket, answerTo(call, AnswerText::ticket));
    }
    return result;
}

int commit(sd_bus_message *call, BusCalls &calls) {
    calls.commit(answerTo(call, AnswerText::nothing));
    return 0;
}

int forget(sd_bus_message *call, BusCalls &calls) {
    const char *version = nullptr;
    const int result = sd_bus_message_read(call, "s", &version);
    if (result >= 0) {
        calls.forget(bounded(version), answerTo(call, AnswerText::nothing));
    }
    return result;
}

int changeSetting(sd_bus_message *call, BusCalls &calls) {
    const char *name = nullptr;
    const char *value = nullptr;
    const int result = sd_bus_message_read(call, "ss", &name, &value);
    if (result >= 0) {
        calls.changeSetting(bounded(name), bounded(value), answerTo(call, AnswerText::nothing));
    }
    return result;
}

// Fills the one container of a reply with rows and sends it.
template <typename Rows, typename Append>
int replyRows(sd_bus_message *call, const char *rowSignature, const Rows &rows, Append append) {
    sd_bus_message *made = nullptr;
    int result = sd_bus_message_new_method_return(call, &made);
    const BusMessage reply(made);
    if (result >= 0) {
        result = sd_bus_message_open_container(made, 'a', rowSignature);
    }
    for (auto row = rows.begin(); result >= 0 && row != rows.end(); ++row) {
        result = append(made, *row);
    }
    if (result >= 0) {
        result = sd_bus_message_close_container(made);
    }
    if (result >= 0) {
        result = sd_bus_send(nullptr, made, nullptr);
    }
    return result < 0 ? replyRefusal(call, {Outcome::failed, "call", "the answer was not sent"})
                      : result;
}

int history(sd_bus_message *call, BusCalls &calls) {
    std::uint32_t count = 0;
    const int result = sd_bus_message_read(call, "u", &count);
    if (result < 0) {
        return result;
    }
    return replyRows(call, "s", calls.history(count), [](auto *reply, const auto &line) {
        return sd_bus_message_append(reply, "s", busText(line).c_str());
    });
}

int explain(sd_bus_message *call, BusCalls &calls) {
    return replyRows(call, "(ss)", calls.explain(), [](auto *reply, const auto &sentence) {
        return sd_bus_message_append(reply, "(ss)", busText(sentence.first).c_str(),
                                     busText(sentence.second).c_str());
    });
}

int counters(sd_bus_message *call, BusCalls &calls) {
    return replyRows(call, "(st)", calls.counters(), [](auto *reply, const auto &counter) {
        return sd_bus_message_append(reply, "(st)", busText(counter.first).c_str(), counter.second);
    });
}

} // namespace

void addMethods(std::vector<sd_bus_vtable> &vtable) {
    vtable.push_back(SD_BUS_METHOD_WITH_NAMES(
        "OfferImage", "syii",
        SD_BUS_PARAM(descriptor) SD_BUS_PARAM(offloadDownloadActivate)
            SD_BUS_PARAM(initialOnboardingStatus) SD_BUS_PARAM(firstTimePolling),
        "t", SD_BUS_PARAM(ticket), guarded<offerImage>, kFromAnybody));
    vtable.push_back(SD_BUS_METHOD_WITH_NAMES("TriggerMobileApp", "i", SD_BUS_PARAM(newSwAvailFlag),
                                              "t", SD_BUS_PARAM(ticket), guarded<triggerMobileApp>,
                                              kFromAnybody));
    vtable.push_back(SD_BUS_METHOD_WITH_NAMES("SetActivationTime", "s", SD_BUS_PARAM(record), "t",
                                              SD_BUS_PARAM(ticket), guarded<setActivationTime>,
                                              kFromAnybody));
    vtable.push_back(SD_BUS_METHOD_WITH_NAMES("Cancel", "t", SD_BUS_PARAM(ticket), "t",
                                              SD_BUS_PARAM(cancelled), guarded<cancel>,
                                              kFromAnybody));
    vtable.push_back(
        SD_BUS_METHOD_WITH_NAMES("Commit", "", "", "", "", guarded<commit>, kFromAnybody));
    vtable.push_back(SD_BUS_METHOD_WITH_NAMES("Forget", "s", SD_BUS_PARAM(version), "", "",
                                              guarded<forget>, kFromAnybody));
    vtable.push_back(SD_BUS_METHOD_WITH_NAMES("ChangeSetting", "ss",
                                              SD_BUS_PARAM(name) SD_BUS_PARAM(value), "", "",
                                              guarded<changeSetting>, kFromAnybody));
    vtable.push_back(SD_BUS_METHOD_WITH_NAMES("History", "u", SD_BUS_PARAM(count), "as",
                                              SD_BUS_PARAM(lines), guarded<history>, kFromAnybody));
    vtable.push_back(SD_BUS_METHOD_WITH_NAMES("Explain", "", "", "a(ss)", SD_BUS_PARAM(sentences),
                                              guarded<explain>, kFromAnybody));
    vtable.push_back(SD_BUS_METHOD_WITH_NAMES("Counters", "", "", "a(st)", SD_BUS_PARAM(counters),
                                              guarded<counters>, kFromAnybody));
}

} // namespace service
