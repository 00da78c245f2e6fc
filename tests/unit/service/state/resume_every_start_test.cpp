// SPDX-License-Identifier: MIT
// Every combination of what can be kept and what can have happened: what holds for all of them.
#include "service/state/resume.h"

#include "tests/unit/service/state/kept_requests.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <set>

namespace {

using service::BootFacts;
using service::Ledger;
using service::Request;
using service::ResumePlan;

std::vector<BootFacts> everyBoot() {
    std::vector<BootFacts> all{sameBoot(), otherBoot()};
    for (const char *const version : {kNew, kOtherImage, ""}) {
        all.push_back(bootedTheOther(version));
    }
    all.push_back(otherBoot());
    all.back().activeBank.clear();
    return all;
}

std::vector<std::optional<service::Running>> everyCall() {
    std::vector<std::optional<service::Running>> all{std::nullopt};
    std::vector<Request> requests{trigger(5), activationTime(5), expiryOf("rebootTimer"),
                                  expiryOf("downloadStartTimer"), expiryOf("downloadRetryTimer")};
    for (int policy = 0; policy <= 3; ++policy) {
        requests.push_back(offer(5, policy));
    }
    for (const Request &request : requests) {
        for (const bool activated : {false, true}) {
            for (const int crashes : {0, service::kMaxCrashes}) {
                all.push_back(service::Running{request, 1, crashes, "a", activated});
            }
        }
    }
    return all;
}

std::vector<std::optional<service::WaitingOffer>> everyWaiting() {
    std::vector<std::optional<service::WaitingOffer>> all{std::nullopt};
    for (const int policy : {0, 1, 3}) {
        all.push_back(service::WaitingOffer{offer(4, policy), "a", false, false});
        all.push_back(service::WaitingOffer{offer(4, policy), "a", true, false});
        all.push_back(service::WaitingOffer{offer(4, policy), "a", false, true});
    }
    return all;
}

std::vector<std::vector<service::ArmedTimer>> everySetOfTimers() {
    const auto reboot = armed("rebootTimer", 1800);
    const auto retry = armed("downloadRetryTimer", 120);
    const auto window = armed("downloadStartTimer", 1800);
    return {{}, {reboot}, {retry}, {window}, {reboot, window}};
}

std::vector<std::list<Request>> everyQueue() {
    return {{}, {expiryOf("rebootTimer"), trigger(7)}, {offer(8, 3), activationTime(9)}};
}

void forEveryStart(const std::function<void(const Ledger &, const BootFacts &)> &check) {
    Ledger ledger = emptyLedger();
    ledger.memory = memoryWith({{"reboot_flag", 1}, {"g_dwldStartTimer", 1}});
    for (const auto &call : everyCall()) {
        ledger.running = call;
        for (const auto &waiting : everyWaiting()) {
            ledger.waiting = waiting;
            for (const auto &timers : everySetOfTimers()) {
                ledger.timers = timers;
                for (const auto &queue : everyQueue()) {
                    ledger.queue = queue;
                    for (const BootFacts &facts : everyBoot()) {
                        check(ledger, facts);
                        if (testing::Test::HasFailure()) {
                            ADD_FAILURE()
                                << "with " << facts.bootId << " " << facts.activeBank << " "
                                << facts.runningVersion << " and " << service::printLedger(ledger);
                            return;
                        }
                    }
                }
            }
        }
    }
}

bool isTimer(const Request &request) { return request.kind == service::kTimer; }

void add(std::multiset<std::uint64_t> &tickets, const Request &request) {
    if (!isTimer(request)) {
        tickets.insert(request.ticket);
    }
}

std::multiset<std::uint64_t> ticketsOf(const Ledger &ledger) {
    std::multiset<std::uint64_t> tickets;
    std::for_each(ledger.queue.begin(), ledger.queue.end(),
                  [&](const Request &request) { add(tickets, request); });
    if (ledger.running) {
        add(tickets, ledger.running->request);
    }
    if (ledger.waiting) {
        add(tickets, ledger.waiting->offer);
    }
    return tickets;
}

std::multiset<std::uint64_t> ticketsOf(const ResumePlan &plan) {
    Ledger goesOn;
    goesOn.queue = plan.queue;
    goesOn.running = plan.redo;
    goesOn.waiting = plan.waiting;
    std::multiset<std::uint64_t> tickets = ticketsOf(goesOn);
    if (plan.decided) {
        add(tickets, *plan.decided);
    }
    for (const service::Finished &finished : plan.finished) {
        add(tickets, finished.request);
    }
    return tickets;
}

bool anyExpiry(const ResumePlan &plan) {
    return std::any_of(plan.queue.begin(), plan.queue.end(), isTimer);
}

TEST(EveryStart, BringsEachRequestToExactlyOnePlace) {
    forEveryStart([](const Ledger &ledger, const BootFacts &facts) {
        EXPECT_EQ(ticketsOf(planResume(ledger, facts)), ticketsOf(ledger));
    });
}

TEST(EveryStart, NeverActivatesAgainAfterAnActivationThatBooted) {
    forEveryStart([](const Ledger &ledger, const BootFacts &facts) {
        const bool noted = (ledger.running && ledger.running->activated &&
                            ledger.running->request.kind != service::kActivationTime) ||
                           (ledger.waiting && ledger.waiting->activated);
        const bool changed = facts.activeBank == "b";
        if (facts.bootId == ledger.bootId || !(noted || changed)) {
            return;
        }
        const ResumePlan plan = planResume(ledger, facts);
        if (!noted && !plan.decided && !ledger.running && !ledger.waiting) {
            return; // nothing was kept that could have activated
        }
        const bool byTimer = ledger.running && !ledger.waiting && isTimer(ledger.running->request);
        if (!plan.decided && !byTimer && !changed) {
            ADD_FAILURE() << "nobody hears what became of the activation";
        }
        if (plan.decided || changed) {
            if (ledger.running && ledger.running->request.kind == service::kActivationTime &&
                !ledger.waiting) {
                return; // an activation time alone changes no bank
            }
            EXPECT_TRUE(plan.timers.empty());
            EXPECT_FALSE(anyExpiry(plan));
            EXPECT_FALSE(plan.redo && isTimer(plan.redo->request));
            EXPECT_FALSE(changed && plan.redo && plan.redo->request.kind == service::kNewImage &&
                         plan.redo->request.policy == 3);
        }
        EXPECT_TRUE(!plan.decided || !plan.waiting);
    });
}

TEST(EveryStart, LeavesNoOfferThatNothingMoves) {
    forEveryStart([](const Ledger &ledger, const BootFacts &facts) {
        const ResumePlan plan = planResume(ledger, facts);
        if (!plan.waiting || plan.waiting->activated || plan.waiting->deferred) {
            return;
        }
        EXPECT_TRUE(!plan.timers.empty() || anyExpiry(plan) ||
                    (plan.redo && plan.redo->request.kind != service::kActivationTime));
    });
}

TEST(EveryStart, GivesUpWhatCrashesAlways) {
    forEveryStart([](const Ledger &ledger, const BootFacts &facts) {
        const ResumePlan plan = planResume(ledger, facts);
        EXPECT_FALSE(plan.redo && plan.redo->crashes >= service::kMaxCrashes);
        EXPECT_FALSE(plan.redo && plan.redo->starts > service::kMaxStarts);
    });
}

TEST(EveryStart, RestoresTheMemoryThatTimersAndCallsNeed) {
    forEveryStart([](const Ledger &ledger, const BootFacts &facts) {
        const ResumePlan plan = planResume(ledger, facts);
        EXPECT_EQ(plan.memory.empty() && (plan.redo || plan.waiting || !plan.timers.empty()),
                  false);
        if (!plan.memory.empty() && facts.bootId != ledger.bootId && plan.timers.empty() &&
            !anyExpiry(plan) && !(plan.redo && isTimer(plan.redo->request))) {
            EXPECT_EQ(numberIn(plan.memory, "reboot_flag"), 0);
            EXPECT_EQ(numberIn(plan.memory, "g_dwldStartTimer"), 0);
        }
    });
}

// A process may die between its plan and the next word from the host, in this boot or over another.
TEST(EveryStart, PlansTheSameOnceMoreFromWhatItWrote) {
    forEveryStart([](const Ledger &ledger, const BootFacts &facts) {
        const ResumePlan plan = planResume(ledger, facts);
        const Ledger written = resumed(ledger, plan, facts);
        const ResumePlan again = planResume(written, facts);
        EXPECT_EQ(ticketsOf(again), ticketsOf(written));
        EXPECT_FALSE(again.commitCheck);
        EXPECT_FALSE(again.decided) << "decided twice";
        EXPECT_TRUE(again.finished.empty()) << "finished twice";
        EXPECT_EQ(again.waiting, plan.waiting);
        EXPECT_EQ(again.queue, plan.queue);
        EXPECT_EQ(again.timers, plan.timers);
        EXPECT_EQ(again.memory, plan.memory);
        ASSERT_EQ(again.redo.has_value(), plan.redo.has_value());
        if (plan.redo) {
            EXPECT_EQ(again.redo->request, plan.redo->request);
            EXPECT_EQ(again.redo->starts, plan.redo->starts + 1);
        }
    });
}

TEST(EveryStart, WritesALedgerThatCanBeRead) {
    const auto check = [](const Ledger &ledger, const BootFacts &facts) {
        const Ledger written = resumed(ledger, planResume(ledger, facts), facts);
        const auto back = service::parseLedger(service::printLedger(written));
        ASSERT_TRUE(back) << back.error().text;
        EXPECT_EQ(*back, written);
    };
    int count = 0;
    forEveryStart([&](const Ledger &ledger, const BootFacts &facts) {
        if (++count % 11 == 0) { // the parts repeat; printing all of them takes long
            check(ledger, facts);
        }
    });
}

} // namespace
