// SPDX-License-Identifier: MIT
// The kept ledger, read back strictly: what is not exactly as it was printed is not used.
#include "service/state/ledger.h"

#include "base/channel.h"
#include "base/json.h"
#include "otaSwAgent/records.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <initializer_list>
#include <limits>

namespace service {
namespace {

constexpr double kMaxWhole = 9007199254740992.0; // 2^53: beyond it a double skips numbers
constexpr std::size_t kMaxBootId = 128;
constexpr std::size_t kMaxText = base::Channel::kMaxMessage; // each came as one message, or less
constexpr int kManyStarts = 1000;
constexpr int kManyTrials = 99;
constexpr std::string_view kHoldsMore = " holds a key that this release does not know";
constexpr const char *kFailedTrials = "failedTrials";
constexpr const char *kHeld = "held";
constexpr const char *kFailedDownloads = "failedDownloads";
constexpr const char *kRebootDue = "rebootDue";

// One object of the ledger: takes its values, and keeps the first thing that is wrong.
class ObjectReader {
  public:
    ObjectReader(const cJSON *object, std::string where, std::string &whatIsWrong)
        : object_(object), where_(std::move(where)), whatIsWrong_(whatIsWrong) {}

    // Those of the second list may be missing.
    bool hasExactly(std::initializer_list<const char *> keys,
                    std::initializer_list<const char *> optional = {}) {
        if (!cJSON_IsObject(object_)) {
            return complain("", "an object");
        }
        for (const char *const key : keys) {
            if (count(key) != 1) {
                return complain(key, "this key exactly once");
            }
        }
        int more = 0;
        for (const char *const key : optional) {
            if (count(key) > 1) {
                return complain(key, "this key once");
            }
            more += count(key);
        }
        if (cJSON_GetArraySize(object_) != static_cast<int>(keys.size()) + more) {
            return complainOfUnknownKey();
        }
        return true;
    }

    const cJSON *item(const char *key) const {
        return cJSON_GetObjectItemCaseSensitive(object_, key);
    }
    std::string where(const char *key) const {
        return where_.empty() ? std::string(key) : where_ + (*key == '\0' ? "" : ".") + key;
    }

    bool text(const char *key, std::size_t maxBytes, std::string &value) {
        const char *const found = cJSON_GetStringValue(item(key));
        if (found == nullptr || std::string_view(found).size() > maxBytes) {
            return complain(key, "a text of at most " + std::to_string(maxBytes) + " bytes");
        }
        value = found;
        return true;
    }

    bool oneOf(const char *key, std::initializer_list<const char *> values, std::string &value) {
        if (!text(key, kMaxText, value)) {
            return false;
        }
        return std::find(values.begin(), values.end(), value) != values.end() ||
               complain(key, "one of the known words");
    }

    // JSON text of an object; an empty one only where that is allowed.
    bool objectText(const char *key, bool mayBeEmpty, std::string &value) {
        if (!text(key, kMaxText, value)) {
            return false;
        }
        return (mayBeEmpty && value.empty()) || base::parseObject(value) != nullptr ||
               complain(key, "the text of a JSON object");
    }

    template <typename Number>
    bool whole(const char *key, double least, double most, Number &value) {
        const cJSON *const found = item(key);
        const double number = cJSON_IsNumber(found) ? found->valuedouble : std::nan("");
        if (!(std::trunc(number) == number && number >= least && number <= most)) {
            return complain(key, "a whole number within its bounds");
        }
        value = static_cast<Number>(number);
        return true;
    }

    // 0 where it is not there.
    bool countUpTo(const char *key, int most, int &value) {
        return item(key) == nullptr || whole(key, 0, most, value);
    }
    // No where it is not there.
    bool mark(const char *key, bool &value) { return item(key) == nullptr || flag(key, value); }

    bool flag(const char *key, bool &value) {
        const cJSON *const found = item(key);
        value = cJSON_IsTrue(found) != 0;
        return cJSON_IsBool(found) || complain(key, "true or false");
    }

    bool array(const char *key, std::size_t most) {
        const cJSON *const found = item(key);
        return (cJSON_IsArray(found) &&
                static_cast<std::size_t>(cJSON_GetArraySize(found)) <= most) ||
               complain(key, "a list of at most " + std::to_string(most));
    }

    bool complain(const char *key, const std::string &expected) {
        const std::string place = where(key);
        whatIsWrong_ =
            (place.empty() ? "the ledger" : "\"" + place + "\"") + ": expected " + expected;
        return false;
    }

    std::string &whatIsWrong() { return whatIsWrong_; }

  private:
    bool complainOfUnknownKey() {
        whatIsWrong_ = (where_.empty() ? "it" : "\"" + where_ + "\"");
        whatIsWrong_ += kHoldsMore;
        return false;
    }

    int count(const char *key) const {
        int found = 0;
        const cJSON *child = nullptr;
        cJSON_ArrayForEach(child, object_) {
            found += std::string_view(child->string) == key ? 1 : 0;
        }
        return found;
    }

    const cJSON *object_;
    std::string where_;
    std::string &whatIsWrong_;
};

bool read(ObjectReader reader, Request &request) {
    return reader.hasExactly({"ticket", "kind", "event", "version", "policy"}) &&
           reader.whole("ticket", 0, kMaxWhole, request.ticket) &&
           reader.oneOf("kind", {kNewImage, kMobileTrigger, kActivationTime, kTimer},
                        request.kind) &&
           reader.objectText("event", false, request.event) &&
           reader.text("version", OTA_VERSION_WIDTH - 1, request.version) &&
           reader.whole("policy", 0, 3, request.policy);
}

bool read(ObjectReader reader, ArmedTimer &timer) {
    return reader.hasExactly({"name", "seconds", "endBootMs", "armedAt", "endsAt"}) &&
           reader.text("name", OTA_TIMER_NAME_WIDTH - 1, timer.name) &&
           reader.whole("seconds", std::numeric_limits<int>::min(), std::numeric_limits<int>::max(),
                        timer.seconds) &&
           reader.whole("endBootMs", -kMaxWhole, kMaxWhole, timer.endBootMs) &&
           reader.whole("armedAt", -kMaxWhole, kMaxWhole, timer.armedAt) &&
           reader.whole("endsAt", -kMaxWhole, kMaxWhole, timer.endsAt);
}

bool readMember(ObjectReader &reader, const char *key, Request &request) {
    return read(ObjectReader(reader.item(key), reader.where(key), reader.whatIsWrong()), request);
}

bool read(ObjectReader reader, Running &running) {
    return reader.hasExactly({"request", "starts", "crashes", "bank", "activated"},
                             {kFailedTrials, kHeld}) &&
           readMember(reader, "request", running.request) &&
           reader.whole("starts", 0, kManyStarts, running.starts) &&
           reader.whole("crashes", 0, kManyStarts, running.crashes) &&
           reader.oneOf("bank", {"", "a", "b"}, running.bank) &&
           reader.flag("activated", running.activated) &&
           reader.countUpTo(kFailedTrials, kManyTrials, running.failedTrials) &&
           reader.mark(kHeld, running.held);
}

bool read(ObjectReader reader, WaitingOffer &standing) {
    return reader.hasExactly({"offer", "bank", "activated", "deferred"}, {kFailedTrials}) &&
           readMember(reader, "offer", standing.offer) &&
           reader.oneOf("bank", {"", "a", "b"}, standing.bank) &&
           reader.flag("activated", standing.activated) &&
           reader.flag("deferred", standing.deferred) &&
           reader.countUpTo(kFailedTrials, kManyTrials, standing.failedTrials);
}

template <typename Item>
bool readOrNull(ObjectReader &reader, const char *key, std::optional<Item> &item) {
    if (cJSON_IsNull(reader.item(key))) {
        return true;
    }
    return read(ObjectReader(reader.item(key), reader.where(key), reader.whatIsWrong()),
                item.emplace());
}

template <typename List>
bool readList(ObjectReader &reader, const char *key, std::size_t most, List &list) {
    if (!reader.array(key, most)) {
        return false;
    }
    const cJSON *element = nullptr;
    cJSON_ArrayForEach(element, reader.item(key)) {
        const std::string where = reader.where(key) + "[" + std::to_string(list.size()) + "]";
        if (!read(ObjectReader(element, where, reader.whatIsWrong()), list.emplace_back())) {
            return false;
        }
    }
    return true;
}

// A ticket that will be given out once more would name two requests.
bool ticketsAreGivenOut(ObjectReader &reader, const Ledger &ledger) {
    const auto isNot = [&](const Request &request) { return request.ticket >= ledger.nextTicket; };
    if (std::any_of(ledger.queue.begin(), ledger.queue.end(), isNot) ||
        (ledger.running && isNot(ledger.running->request)) ||
        (ledger.standing && isNot(ledger.standing->offer))) {
        return reader.complain("nextTicket", "a number above every ticket");
    }
    return true;
}

} // namespace

bool parseLedger(std::string_view text, Ledger &ledger, std::string &whatIsWrong, bool *newer) {
    bool ofALaterRelease = false;
    bool &isNewer = newer == nullptr ? ofALaterRelease : *newer;
    isNewer = false;
    const base::Json object = base::parseObject(text);
    if (!object) {
        whatIsWrong = "the ledger: expected one JSON object and nothing behind it";
        return false;
    }
    ObjectReader reader(object.get(), "", whatIsWrong);
    Ledger found;
    if (!reader.hasExactly({"bootId", "nextTicket", "queue", "running", "standing", "timers",
                            "memory", "lastWord", "lastRecord"},
                           {kFailedDownloads, kRebootDue}) ||
        !reader.text("bootId", kMaxBootId, found.bootId) ||
        !reader.whole("nextTicket", 1, kMaxWhole, found.nextTicket) ||
        !readList(reader, "queue", Ledger::kMaxQueue + Ledger::kSpare, found.queue) ||
        !readOrNull(reader, "running", found.running) ||
        !readOrNull(reader, "standing", found.standing) ||
        !readList(reader, "timers", Ledger::kMaxTimers, found.timers) ||
        !reader.objectText("memory", true, found.memory) ||
        !reader.countUpTo(kFailedDownloads, Ledger::kMaxFailedDownloads, found.failedDownloads) ||
        !reader.mark(kRebootDue, found.rebootDue) ||
        !reader.text("lastWord", OTA_STATUS_WIDTH - 1, found.lastWord) ||
        !reader.text("lastRecord", kMaxText, found.lastRecord) ||
        !ticketsAreGivenOut(reader, found)) {
        isNewer = whatIsWrong.ends_with(kHoldsMore);
        return false;
    }
    ledger = std::move(found);
    return true;
}

} // namespace service
