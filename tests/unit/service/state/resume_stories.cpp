// SPDX-License-Identifier: MIT
// A start as a story: what was kept, what the node is like now, and the plan in one line.
#include "tests/unit/service/state/resume_stories.h"

#include <sstream>

using service::BootFacts;
using service::Ledger;
using service::Request;
using service::ResumePlan;
using service::Running;
using service::WaitingOffer;

namespace {

std::string nameOf(const Request &request) {
    if (request.kind == service::kTimer) {
        const std::size_t from = request.event.find("name\":\"") + 7;
        return request.event.substr(from, request.event.find('"', from) - from);
    }
    return "#" + std::to_string(request.ticket);
}

} // namespace

std::string told(const ResumePlan &plan) {
    std::ostringstream text;
    text << (plan.commitCheck ? "check " : "");
    if (plan.decided) {
        text << "decided " << nameOf(*plan.decided) << (plan.awaitCommitWord ? " by word or " : " ")
             << base::rowOf(plan.withoutWord).name << " ";
    }
    for (const service::Finished &finished : plan.finished) {
        text << "finished " << nameOf(finished.request) << " " << base::rowOf(finished.outcome).name
             << " ";
    }
    text << (plan.memory.empty() ? "" : "memory ");
    for (const service::ArmedTimer &timer : plan.timers) {
        text << timer.name << "=" << timer.endBootMs << " ";
    }
    if (plan.redo) {
        text << "redo " << nameOf(plan.redo->request) << " start " << plan.redo->starts << " bank "
             << plan.redo->bank << (plan.redo->activated ? " activated " : " ");
    }
    if (plan.waiting) {
        text << "waiting " << nameOf(plan.waiting->offer)
             << (plan.waiting->activated ? " activated " : " ")
             << (plan.waiting->deferred ? "deferred " : "");
    }
    for (const Request &request : plan.queue) {
        text << "queue " << nameOf(request) << " ";
    }
    std::string line = text.str();
    return line.empty() ? "nothing" : line.substr(0, line.size() - 1);
}

Ledger running(const Request &request, bool activated, int starts, int crashes) {
    Ledger ledger = emptyLedger();
    ledger.memory = memoryWith();
    ledger.running = Running{request, starts, crashes, "a", activated};
    return ledger;
}

Ledger waiting(const Request &offered, std::vector<service::ArmedTimer> timers, bool activated,
               bool deferred) {
    Ledger ledger = emptyLedger();
    ledger.memory = memoryWith();
    ledger.waiting = WaitingOffer{offered, "a", activated, deferred};
    ledger.timers = std::move(timers);
    return ledger;
}

Ledger runningOver(const Request &request, Ledger ledger, bool activated, int crashes) {
    ledger.running = Running{request, 1, crashes, "a", activated};
    return ledger;
}

Ledger queued(std::list<Request> queue, Ledger ledger) {
    ledger.queue = std::move(queue);
    return ledger;
}

BootFacts failed(BootFacts facts, std::uint32_t trials, const std::string &reason,
                 const std::string &version) {
    facts.failedVersions = {{"4QZ-0.1", 7, "boot", true}, {version, trials, reason, true}};
    return facts;
}

Ledger failedBefore(Ledger ledger, int trials) {
    if (ledger.running) {
        ledger.running->failedTrials = trials;
    }
    if (ledger.waiting) {
        ledger.waiting->failedTrials = trials;
    }
    return ledger;
}

BootFacts at1970(BootFacts facts) {
    facts.wallNow = 40;
    return facts;
}

BootFacts later(BootFacts facts, std::int64_t seconds) {
    facts.wallNow += seconds;
    return facts;
}

BootFacts withoutBootState(BootFacts facts) {
    facts.activeBank.clear();
    facts.runningVersion.clear();
    return facts;
}

Ledger withMemory(Ledger ledger) {
    ledger.memory = memoryWith();
    return ledger;
}
