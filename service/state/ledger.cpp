// SPDX-License-Identifier: MIT
// The ledger as JSON text.
#include "service/state/ledger.h"

#include "base/json.h"

#include <new>

namespace service {
namespace {

using base::Json;

// The few calls that build a document share one answer to a lack of memory.
Json orThrow(cJSON *item) {
    if (item == nullptr) {
        throw std::bad_alloc();
    }
    return Json(item);
}

void put(cJSON *object, const char *key, Json item) {
    if (cJSON_AddItemToObject(object, key, item.get()) == 0) {
        throw std::bad_alloc();
    }
    static_cast<void>(item.release());
}

void put(cJSON *object, const char *key, const std::string &text) {
    put(object, key, orThrow(cJSON_CreateString(text.c_str())));
}

// Spelled here: cJSON prints 15 digits, which is not every whole number up to 2^53.
template <typename Number>
void putNumber(cJSON *object, const char *key, Number number) {
    put(object, key, orThrow(cJSON_CreateRaw(std::to_string(number).c_str())));
}

void putFlag(cJSON *object, const char *key, bool flag) {
    put(object, key, orThrow(cJSON_CreateBool(flag ? 1 : 0)));
}

// Left out where they say nothing: the service of an older image then reads the ledger too.
void putCount(cJSON *object, const char *key, int count) {
    if (count != 0) {
        putNumber(object, key, count);
    }
}

void putMark(cJSON *object, const char *key, bool mark) {
    if (mark) {
        putFlag(object, key, mark);
    }
}

Json newObject() { return orThrow(cJSON_CreateObject()); }

Json toJson(const Request &request) {
    Json object = newObject();
    putNumber(object.get(), "ticket", request.ticket);
    put(object.get(), "kind", request.kind);
    put(object.get(), "event", request.event);
    put(object.get(), "version", request.version);
    putNumber(object.get(), "policy", request.policy);
    return object;
}

Json toJson(const ArmedTimer &timer) {
    Json object = newObject();
    put(object.get(), "name", timer.name);
    putNumber(object.get(), "seconds", timer.seconds);
    putNumber(object.get(), "endBootMs", timer.endBootMs);
    putNumber(object.get(), "armedAt", timer.armedAt);
    putNumber(object.get(), "endsAt", timer.endsAt);
    return object;
}

Json toJson(const Running &running) {
    Json object = newObject();
    put(object.get(), "request", toJson(running.request));
    putNumber(object.get(), "starts", running.starts);
    putNumber(object.get(), "crashes", running.crashes);
    put(object.get(), "bank", running.bank);
    putFlag(object.get(), "activated", running.activated);
    putCount(object.get(), "failedTrials", running.failedTrials);
    putMark(object.get(), "held", running.held);
    return object;
}

Json toJson(const WaitingOffer &standing) {
    Json object = newObject();
    put(object.get(), "offer", toJson(standing.offer));
    put(object.get(), "bank", standing.bank);
    putFlag(object.get(), "activated", standing.activated);
    putFlag(object.get(), "deferred", standing.deferred);
    putCount(object.get(), "failedTrials", standing.failedTrials);
    return object;
}

template <typename Optional>
Json toJsonOrNull(const Optional &item) {
    return item ? toJson(*item) : orThrow(cJSON_CreateNull());
}

template <typename List>
Json toArray(const List &list) {
    Json array = orThrow(cJSON_CreateArray());
    for (const auto &item : list) {
        Json element = toJson(item);
        if (cJSON_AddItemToArray(array.get(), element.get()) == 0) {
            throw std::bad_alloc();
        }
        static_cast<void>(element.release());
    }
    return array;
}

} // namespace

std::string timerOf(const Request &request) {
    const Json event = request.kind == kTimer ? base::parseObject(request.event) : nullptr;
    return base::textOf(event.get(), "name");
}

std::string printLedger(const Ledger &ledger) {
    const Json object = newObject();
    put(object.get(), "bootId", ledger.bootId);
    putNumber(object.get(), "nextTicket", ledger.nextTicket);
    put(object.get(), "queue", toArray(ledger.queue));
    put(object.get(), "running", toJsonOrNull(ledger.running));
    put(object.get(), "standing", toJsonOrNull(ledger.standing));
    put(object.get(), "timers", toArray(ledger.timers));
    put(object.get(), "memory", ledger.memory);
    putCount(object.get(), "failedDownloads", ledger.failedDownloads);
    putMark(object.get(), "rebootDue", ledger.rebootDue);
    put(object.get(), "lastWord", ledger.lastWord);
    put(object.get(), "lastRecord", ledger.lastRecord);
    const base::JsonText text(cJSON_Print(object.get()));
    if (!text) {
        throw std::bad_alloc();
    }
    return std::string(text.get()) + "\n";
}

} // namespace service
