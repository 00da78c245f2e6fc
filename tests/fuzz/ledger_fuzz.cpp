// SPDX-License-Identifier: MIT
// What must hold for every ledger: it comes back, or nothing of it does, and the agent hears of it
// only what the guard lets in today.
#include "base/json.h"
#include "base/lib_config.h"
#include "service/state/ledger.h"
#include "service/state/recheck.h"
#include "tests/fuzz/promise.h"

using fuzz::promise;
using service::Ledger;
using service::Request;

namespace {

const service::Judge &today() {
    static const service::Judge judge{{"GW-1000", "SN0000000001", "02:00:5E:10:00:01", 30},
                                      {false, "4QZ1.2", {{"4QZ-6.6.6", "failed its trial"}}}};
    return judge;
}

service::BootFacts factsOf(const char *bootId, const char *bank) {
    service::BootFacts facts;
    facts.bootId = bootId;
    facts.activeBank = bank;
    facts.runningVersion = "4QZ-1.0.0";
    facts.bootNowMs = 500'000;
    facts.wallNow = 1'700'000'000;
    facts.passiveVersion = "4QZ2";
    facts.failedVersions = {{"4QZ-6.6.6", 1, "boot", true}};
    return facts;
}

// Its event is one of four, and what is in it passes the guard unchanged.
void checkRequest(const Request &request, std::string_view input) {
    Request again;
    const auto refusal = service::checkAgain(request, today(), again);
    promise(!refusal, "what is taken up passes the guard", input);
    promise(again == request, "what is taken up is written by the guard", input);
    if (request.kind == service::kNewImage) {
        promise(request.version.starts_with("4QZ") && request.version.size() <= 30 &&
                    fuzz::consistsOf(request.version, fuzz::kVersionCharacters),
                "a version that is taken up is safe in a shell", input);
    }
}

void checkTakeUp(const Ledger &ledger, const service::BootFacts &facts, std::string_view input) {
    service::ResumePlan plan = service::planResume(ledger, facts);
    service::recheck(plan, today());
    if (plan.redo) {
        checkRequest(plan.redo->request, input);
    }
    if (plan.waiting) {
        checkRequest(plan.waiting->offer, input);
    }
    for (const service::ArmedTimer &timer : plan.timers) {
        promise(service::isTimerOfTheAgent(timer.name), "a timer that is armed is the agent's",
                input);
    }
    promise(!service::checkRememberedImage(plan.memory, today()) &&
                !service::checkRememberedTimes(plan.memory, today()),
            "a memory that is restored passes the guard", input);
    for (const service::Finished &finished : plan.finished) {
        promise(finished.reason.size() < 1000, "the end of a request has a short reason", input);
    }
    const std::string printed = service::printLedger(service::resumed(ledger, plan, facts));
    promise(static_cast<bool>(service::parseLedger(printed)), "what is taken up can be kept",
            input);
}

void tryLedger(std::string_view text) {
    const auto read = service::parseLedger(text);
    if (!read) {
        promise(!read.error().text.empty() && fuzz::isPrintableLine(read.error().text),
                "what is wrong is one printable line", text);
        return;
    }
    const Ledger &ledger = *read;
    const auto again = service::parseLedger(service::printLedger(ledger));
    promise(again && *again == ledger, "a ledger comes back as it was printed", text);
    checkTakeUp(ledger, factsOf("boot-1", "a"), text);
    checkTakeUp(ledger, factsOf("boot-2", "a"), text);
    checkTakeUp(ledger, factsOf("boot-2", "b"), text);
    for (const Request &request : ledger.queue) {
        Request anew;
        if (!service::checkAgain(request, today(), anew)) {
            checkRequest(anew, text);
        }
    }
}

// The text as the event of a good ledger's request, and as its memory.
void tryInside(std::string_view text) {
    Ledger ledger;
    ledger.bootId = "boot-1";
    ledger.nextTicket = 9;
    for (const char *const kind :
         {service::kNewImage, service::kMobileTrigger, service::kActivationTime, service::kTimer}) {
        service::Running running;
        running.request = {5, kind, std::string(text), "4QZ2", 0};
        ledger.running = running;
        tryLedger(service::printLedger(ledger));
    }
    const base::Json event =
        base::message({{"event", service::kNewImage}, {"descriptor", std::string(text)}});
    base::add(event.get(), "config", base::printLibConfig({}));
    ledger.running->request = {5, service::kNewImage, base::printed(event.get()), "4QZ2", 0};
    tryLedger(service::printLedger(ledger));
    ledger.waiting = service::WaitingOffer{ledger.running->request, "a", false, false, 0};
    ledger.running.reset();
    ledger.memory = std::string(text);
    ledger.timers = {{std::string(text.substr(0, 31)), 60, 560'000, 1'699'999'000, 1'700'000'060}};
    tryLedger(service::printLedger(ledger));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char *>(data), size);
    tryLedger(text);
    tryInside(text);
    return 0;
}
