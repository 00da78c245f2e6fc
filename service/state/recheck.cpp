// SPDX-License-Identifier: MIT
#include "service/state/recheck.h"

#include "service/state/agent_memory_text.h"

#include <algorithm>

namespace service {
namespace {

using guard::Refusal;

Refusal remembered(const Refusal &refusal) {
    return {refusal.outcome, "what the agent remembered", refusal.text()};
}

Judge withoutMac(Judge judge) {
    judge.node.mac.clear();
    return judge;
}

class Recheck {
  public:
    Recheck(ResumePlan &plan, const Judge &judge)
        : plan_(plan), judge_(judge), ofAnyMac_(withoutMac(judge)),
          image_(checkRememberedImage(plan.memory, ofAnyMac_)),
          times_(checkRememberedTimes(plan.memory, ofAnyMac_)) {}

    void run() {
        judgeWaiting();
        judgeRedo();
        judgeTimers();
        if (image_ || times_ || plan_.takeBack) {
            takeAllBack();
        }
    }

  private:
    std::optional<Refusal> memory() const {
        const std::optional<Refusal> &refusal = image_ ? image_ : times_;
        return refusal ? std::optional(remembered(*refusal)) : std::nullopt;
    }

    void finish(const Request &request, const Refusal &refusal) {
        plan_.finished.push_back(
            {request, refusal.outcome, refusal.text(), base::Reason::storedRequestRefused});
        told_ = true;
    }

    // Its timers work with what the agent remembers.
    void judgeWaiting() {
        if (!plan_.waiting) {
            return;
        }
        Request anew;
        ended_ = checkAgain(plan_.waiting->offer, ofAnyMac_, anew);
        if (!ended_) {
            ended_ = memory();
        }
        if (ended_) {
            finish(plan_.waiting->offer, *ended_);
            plan_.waiting.reset();
            plan_.takeBack = true;
        } else {
            plan_.waiting->offer = anew;
        }
    }

    void judgeRedo() {
        if (!plan_.redo) {
            return;
        }
        const Request &request = plan_.redo->request;
        const bool ofTheWaitingOffer = request.kind == kTimer || request.kind == kMobileTrigger;
        Request anew;
        std::optional<Refusal> refusal = checkAgain(request, judge_, anew);
        if (!refusal && ofTheWaitingOffer) {
            refusal = ended_ ? ended_ : memory();
        }
        if (!refusal) {
            plan_.redo->request = anew;
            return;
        }
        if (request.kind != kTimer) {
            finish(request, *refusal);
        } else if (!ended_) {
            drop(*refusal);
            told_ = true;
        }
        plan_.takeBack = plan_.takeBack || request.kind == kNewImage;
        plan_.redo.reset();
    }

    void judgeTimers() {
        std::erase_if(plan_.timers, [&](const ArmedTimer &timer) {
            const bool foreign = !isTimerOfTheAgent(timer.name);
            if (foreign) {
                drop({base::Outcome::keyMistyped, "timers",
                      guard::quoted(timer.name) + " is no timer of the agent"});
            }
            return foreign;
        });
    }

    // A later offer, or none, may stand on what is left: the activation time that was accepted.
    void takeAllBack() {
        if (!told_) {
            drop(*memory());
        }
        plan_.timers.clear();
        std::erase_if(plan_.queue, [](const Request &request) { return request.kind == kTimer; });
        if (times_) {
            plan_.memory.clear();
            return;
        }
        AgentMemoryText left(plan_.memory);
        left.forgetTheOffer();
        plan_.memory = left.print();
    }

    void drop(const Refusal &refusal) { plan_.dropped.push_back(refusal); }

    ResumePlan &plan_;
    const Judge &judge_;
    const Judge ofAnyMac_; // of what the agent has taken: it asks for the address once
    const std::optional<Refusal> image_;
    const std::optional<Refusal> times_;
    std::optional<Refusal> ended_; // the waiting offer
    bool told_ = false;            // why the memory goes
};

} // namespace

void recheck(ResumePlan &plan, const Judge &judge) { Recheck(plan, judge).run(); }

} // namespace service
