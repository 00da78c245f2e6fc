// SPDX-License-Identifier: MIT
// The ledger as JSON text, by one table for each of its records. It is read back strictly: what is
// not exactly as it was printed is not used.
#include "service/state/ledger.h"

#include "base/channel.h"
#include "base/json_record.h"
#include "otaSwAgent/records.h"

#include <algorithm>
#include <limits>

namespace service {
namespace {

using base::Bounds;
using base::Field;

constexpr std::size_t kMaxBootId = 128;
constexpr std::size_t kMaxText = base::Channel::kMaxMessage; // each came as one message, or less

bool isKind(const std::string &text) {
    return text == kNewImage || text == kMobileTrigger || text == kActivationTime || text == kTimer;
}

bool isBank(const std::string &text) { return text.empty() || text == "a" || text == "b"; }

bool isObjectText(const std::string &text) { return base::parseObject(text) != nullptr; }

bool isNoneOrObjectText(const std::string &text) { return text.empty() || isObjectText(text); }

constexpr const char *kWord = "one of the known words";
constexpr const char *kObjectText = "the text of a JSON object";
constexpr Bounds kAnyText{.most = kMaxText};
constexpr Bounds kKind{.most = kMaxText, .fits = isKind, .expected = kWord};
constexpr Bounds kBank{.most = kMaxText, .fits = isBank, .expected = kWord};
constexpr Bounds kEvent{.most = kMaxText, .fits = isObjectText, .expected = kObjectText};
constexpr Bounds kMemory{.most = kMaxText, .fits = isNoneOrObjectText, .expected = kObjectText};
constexpr Bounds kAnyInt{.least = std::numeric_limits<int>::min(),
                         .most = std::numeric_limits<int>::max()};
constexpr Bounds kAnyWhole{.least = -base::kMostWhole, .most = base::kMostWhole};
constexpr Bounds kStarts{.most = 1000};
// Left out where they say nothing: the service of an older image then reads the ledger too.
constexpr Bounds kFailedTrials{.most = 99, .leftOut = true};
constexpr Bounds kFailedDownloads{.most = Ledger::kMaxFailedDownloads, .leftOut = true};
constexpr Bounds kMark{.leftOut = true};

} // namespace

static constexpr auto fieldsOf(const Request * /*of*/) {
    return std::tuple{Field{"ticket", &Request::ticket, {.most = base::kMostWhole}},
                      Field{"kind", &Request::kind, kKind}, Field{"event", &Request::event, kEvent},
                      Field{"version", &Request::version, {.most = OTA_VERSION_WIDTH - 1}},
                      Field{"policy", &Request::policy, {.most = 3}}};
}

static constexpr auto fieldsOf(const ArmedTimer * /*of*/) {
    return std::tuple{Field{"name", &ArmedTimer::name, {.most = OTA_TIMER_NAME_WIDTH - 1}},
                      Field{"seconds", &ArmedTimer::seconds, kAnyInt},
                      Field{"endBootMs", &ArmedTimer::endBootMs, kAnyWhole},
                      Field{"armedAt", &ArmedTimer::armedAt, kAnyWhole},
                      Field{"endsAt", &ArmedTimer::endsAt, kAnyWhole}};
}

static constexpr auto fieldsOf(const Running * /*of*/) {
    return std::tuple{Field{"request", &Running::request},
                      Field{"starts", &Running::starts, kStarts},
                      Field{"crashes", &Running::crashes, kStarts},
                      Field{"bank", &Running::bank, kBank},
                      Field{"activated", &Running::activated},
                      Field{"failedTrials", &Running::failedTrials, kFailedTrials},
                      Field{"held", &Running::held, kMark}};
}

static constexpr auto fieldsOf(const WaitingOffer * /*of*/) {
    return std::tuple{
        Field{"offer", &WaitingOffer::offer}, Field{"bank", &WaitingOffer::bank, kBank},
        Field{"activated", &WaitingOffer::activated}, Field{"deferred", &WaitingOffer::deferred},
        Field{"failedTrials", &WaitingOffer::failedTrials, kFailedTrials}};
}

static constexpr auto fieldsOf(const Ledger * /*of*/) {
    return std::tuple{
        Field{"bootId", &Ledger::bootId, {.most = kMaxBootId}},
        Field{"nextTicket", &Ledger::nextTicket, {.least = 1, .most = base::kMostWhole}},
        Field{"queue", &Ledger::queue, {.most = Ledger::kMaxQueue + Ledger::kSpare}},
        Field{"running", &Ledger::running},
        Field{"standing", &Ledger::waiting},
        Field{"timers", &Ledger::timers, {.most = Ledger::kMaxTimers}},
        Field{"memory", &Ledger::memory, kMemory},
        Field{"failedDownloads", &Ledger::failedDownloads, kFailedDownloads},
        Field{"rebootDue", &Ledger::rebootDue, kMark},
        Field{"lastWord", &Ledger::lastWord, {.most = OTA_STATUS_WIDTH - 1}},
        Field{"lastRecord", &Ledger::lastRecord, kAnyText}};
}

namespace {

// A ticket that will be given out once more would name two requests.
bool ticketsAreGivenOut(const Ledger &ledger) {
    const auto is = [&](const Request &request) { return request.ticket < ledger.nextTicket; };
    return std::all_of(ledger.queue.begin(), ledger.queue.end(), is) &&
           (!ledger.running || is(ledger.running->request)) &&
           (!ledger.waiting || is(ledger.waiting->offer));
}

} // namespace

std::string timerOf(const Request &request) {
    const base::Json event = request.kind == kTimer ? base::parseObject(request.event) : nullptr;
    return base::textOf(event.get(), "name");
}

std::string printLedger(const Ledger &ledger) {
    return base::printedInLines(base::asJson(ledger).get()) + "\n";
}

base::Result<Ledger> parseLedger(std::string_view text) {
    base::RecordReader reader("the ledger");
    Ledger found;
    const base::Json object = base::parseObject(text);
    const bool good = object ? reader.read(object.get(), found) &&
                                   (ticketsAreGivenOut(found) ||
                                    reader.complain("nextTicket", "a number above every ticket"))
                             : reader.complain("", "one JSON object and nothing behind it");
    if (!good) {
        return base::Error{reader.whatIsWrong(), reader.metUnknownKey()
                                                     ? base::Reason::stateNewer
                                                     : base::Reason::stateDamaged};
    }
    return found;
}

} // namespace service
